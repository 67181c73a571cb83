#include <fmt/format.h>

#include <cstdio>

#include "host/commands/catalog_choice.h"
#include "host/commands/command.h"
#include "host/commands/scale_bar_choice.h"
#include "host/files/associated_picture.h"
#include "host/files/file_jobs.h"
#include "host/files/image_file.h"
#include "host/library/library_jobs.h"
#include "host/library/memory_picture.h"
#include "host/output/picture.h"
#include "host/session/session.h"
#include "host/thumbnails/thumbnail_maker.h"
#include "system/qvstatus.h"

namespace qvhost {
namespace {

struct SArguments {
  SDatabaseOptions database;
  std::string file;
  std::string output;
  std::string library;
  std::string catalog;
  std::int32_t record = 0;
  std::string field = "image";
  SScaleBarChoice scaleBar;
  bool highQuality = false, json = false;
  bool label = false, macro = false;

  // Of the picture beside the file's own; empty: its own is wanted.
  const char* AssociatedName() const noexcept { return label ? "label" : macro ? "macro" : ""; }
};

// Writes the one thumbnail as it comes.
class CPictureWriter : public IThumbnailObserver {
 public:
  CPictureWriter(const SArguments& arguments, const COutputTarget& target, const SPictureScale& scale,
                 SOutcome& outcome)
      : m_arguments(arguments), m_target(target), m_scale(scale), m_outcome(outcome) {}

  void OnThumbnail(const SThumbnailJob& job, bool made, const SQvPicBuf& picture) override {
    if (!picture.data) return;
    if (!m_arguments.scaleBar.IsWanted()) {
      WritePicture(picture, m_target);
      return Tell(job, made, picture, nullptr);
    }
    CQvPicture marked = CopyPicture(picture);
    const SDrawnScaleBar bar = DrawWantedScaleBar(m_arguments.scaleBar, m_scale, *marked.Get());
    WritePicture(*marked, m_target);
    Tell(job, made, picture, &bar);
  }
  void OnFailed(const std::string& name, const std::string& reason) override { ReportFailure(m_outcome, name, reason); }

 private:
  void Tell(const SThumbnailJob& job, bool made, const SQvPicBuf& picture, const SDrawnScaleBar* bar) const {
    if (m_arguments.json) {
      CJson document = {{"source", job.name},
                        {"output", m_arguments.output},
                        {"width", picture.width},
                        {"height", picture.height},
                        {"made", made}};
      if (bar) document.update(bar->Json());
      return PrintJson(std::move(document));
    }
    std::fprintf(m_target.IsStandardOutput() ? stderr : stdout, "%s: %u x %u pixels, %s%s\n",
                 Printable(m_target.Name()).c_str(), picture.width, picture.height,
                 made ? "made now" : "from the cache", bar ? ("; " + bar->Text()).c_str() : "");
  }

  const SArguments& m_arguments;
  const COutputTarget& m_target;
  const SPictureScale m_scale;
  SOutcome& m_outcome;
};

// Of a picture that can be shown; unknown for others.
SPictureScale ScaleOfFile(const SArguments& arguments) {
  return arguments.scaleBar.IsWanted() ? ReadFileScale(arguments.file) : SPictureScale();
}

SPictureScale ScaleOfRecord(const SArguments& arguments, const CLibraryDatabase& library) {
  std::optional<std::string> bytes =
      arguments.scaleBar.IsWanted() ? library.File().Read(arguments.record, arguments.field) : std::nullopt;
  CQvRef<IQvPictureSource> source;
  CQvRef<IQvMetadataReader> reader;
  if (!bytes || OpenMemoryPicture(std::move(*bytes), source.Out(), nullptr) != kQvOk) return {};
  return source->GetMetadataReader(reader.Out()) == kQvOk ? ScaleOf(*reader) : SPictureScale();
}

void Show(const SArguments& arguments, const COutputTarget& target, const SPictureScale& scale, CSession& session,
          IThumbnailJobs& jobs, SOutcome& outcome) {
  SMakeOptions options;
  options.highQuality = arguments.highQuality;
  options.picturesWanted = true;
  CPictureWriter writer(arguments, target, scale, outcome);
  if (!CThumbnailMaker(session, jobs, writer, options).Run()) outcome.status = kExitInterrupted;
}

void ShowFile(const SArguments& arguments, const COutputTarget& target, SOutcome& outcome) {
  target.RequireOtherThan(arguments.file);
  CSession session;
  session.Open(arguments.database, EDatabaseNeed::Use);
  CFileJobs jobs({arguments.file}, arguments.highQuality, session.DatabasePath());
  const std::unique_ptr<CCatalog> catalog = OpenCatalogFor(jobs, session, arguments.catalog);
  Show(arguments, target, ScaleOfFile(arguments), session, jobs, outcome);
}

// Without a session: what a label says is nothing for a database.
void ShowAssociated(const SArguments& arguments, const COutputTarget& target, SOutcome& outcome) {
  target.RequireOtherThan(arguments.file);
  LoadComponents();
  std::string reason;
  const CQvPicture picture = ReadAssociatedPicture(arguments.file, arguments.AssociatedName(), &reason);
  if (!picture.HasPixels()) return ReportFailure(outcome, arguments.file, reason);
  WritePicture(*picture, target);
  if (arguments.json) {
    PrintJson({{"source", arguments.file},
               {"output", arguments.output},
               {"picture", arguments.AssociatedName()},
               {"width", picture->width},
               {"height", picture->height}});
  } else {
    std::fprintf(target.IsStandardOutput() ? stderr : stdout, "%s: %u x %u pixels, the %s; not cached\n",
                 Printable(target.Name()).c_str(), picture->width, picture->height, arguments.AssociatedName());
  }
}

void ShowRecord(const SArguments& arguments, const COutputTarget& target, SOutcome& outcome) {
  CLibraryDatabase library(arguments.library);
  CSession session;
  session.Open(arguments.database, EDatabaseNeed::Use);
  CLibraryJobs jobs(library, arguments.record, arguments.field, arguments.highQuality);
  Show(arguments, target, ScaleOfRecord(arguments, library), session, jobs, outcome);
}

}  // namespace

void AddShowCommand(CCommand program, SOutcome& outcome) {
  const auto arguments = std::make_shared<SArguments>();
  CCommand command = program.AddVerb("show", "Write one thumbnail to a picture file");
  AddDatabaseOptions(command, &arguments->database);
  AddQualityOption(command, &arguments->highQuality);
  AddViewOptions(command, &arguments->database);
  AddRequired(command, "-o,--output", &arguments->output,
              "The picture file, ending in .jpg or .png; - is standard output, as PNG", "OUT");
  COption library =
      command.AddOption("--library", &arguments->library, "A record of an image library instead of a file");
  library.Type("FILE");
  COption record = command.AddOption("--record", &arguments->record, "The record's number");
  record.Needs(library).Type("N");
  command.AddOption("--field", &arguments->field, "The record's picture field (default: image)")
      .Needs(library)
      .Type("NAME");
  COption file = command.AddOption("file", &arguments->file, "Image file");
  file.Type("FILE").Excludes(library).FileNames();
  AddCatalogOption(command, &arguments->catalog).Excludes(library);
  AddScaleBarOptions(command, &arguments->scaleBar);
  COption label = command.AddFlag("--label", &arguments->label,
                                  "Instead, the label of a slide, which may carry a patient's name; it is not cached");
  label.Excludes(library);
  command.AddFlag("--macro", &arguments->macro, "Instead, the picture of the whole glass of a slide; it is not cached")
      .Excludes(library)
      .Excludes(label);
  AddJsonOption(command, &arguments->json);
  command.SetFooter(
      "A picture is replaced only when qvthumbs wrote it.\n\n"
      "Example: a large thumbnail of one image\n"
      "  qvthumbs show --quality high cells.tif -o cells.png");
  command.SetWork([arguments, &outcome, record] {
    CheckScaleBar(arguments->scaleBar);
    const COutputTarget target = PictureTarget(arguments->output);
    if (arguments->json && target.IsStandardOutput()) {
      throw CHostError("--json prints to standard output, where the picture goes; give one of them");
    }
    if (!arguments->library.empty() && !record.IsGiven()) throw CHostError("which record? Give its --record N");
    if (arguments->library.empty() && arguments->file.empty()) {
      throw CHostError("name the image file to show, or a --library and its --record");
    }
    if (*arguments->AssociatedName() != '\0') {
      if (arguments->scaleBar.IsWanted()) throw CHostError("a label or macro image has no scale for a scale bar");
      ShowAssociated(*arguments, target, outcome);
    } else if (arguments->library.empty()) {
      ShowFile(*arguments, target, outcome);
    } else {
      ShowRecord(*arguments, target, outcome);
    }
  });
}

}  // namespace qvhost
