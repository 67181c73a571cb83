#include <fmt/format.h>

#include <cstdio>

#include "host/commands/catalog_choice.h"
#include "host/commands/command.h"
#include "host/commands/picture_choice.h"
#include "host/commands/scale_bar_choice.h"
#include "host/files/associated_picture.h"
#include "host/files/file_jobs.h"
#include "host/files/image_file.h"
#include "host/files/input_file.h"
#include "host/library/library_jobs.h"
#include "host/library/memory_picture.h"
#include "host/output/picture.h"
#include "host/session/session.h"
#include "host/shards/catalog_supply.h"
#include "host/thumbnails/sized_picture.h"
#include "host/thumbnails/thumbnail_maker.h"
#include "system/qvstatus.h"

namespace qvhost {
namespace {

// Widths of the cache's boxes.
constexpr int kStandardSide = 480, kLargeSide = 640;
constexpr int kLargestSide = 4096;

struct SShowArguments {
  SDatabaseOptions database;
  std::string file;
  std::string output;
  std::string library;
  std::string catalog;
  std::int32_t record = 0;
  std::string field = "image";
  SScaleBarChoice scaleBar;
  SPictureChoice picture;
  int size = 0;  // 0: the cache's own box
  bool highQuality = false, json = false;
  bool label = false, macro = false;

  // Of the picture beside the file's own; empty: its own is wanted.
  const char* AssociatedName() const noexcept { return label ? "label" : macro ? "macro" : ""; }
};

// Where a picture came from.
enum class EOrigin { Made, Cache, MadeOnly };

const char* TextOf(EOrigin origin) {
  switch (origin) {
    case EOrigin::Made:
      return "made now";
    case EOrigin::Cache:
      return "from the cache";
    case EOrigin::MadeOnly:
      break;
  }
  return "made now; not cached";
}

// Writes the one thumbnail as it comes.
class CShownPictureWriter : public IThumbnailObserver {
 public:
  CShownPictureWriter(const SShowArguments& arguments, const COutputTarget& target, const SPictureScale& scale,
                      SOutcome& outcome)
      : m_arguments(arguments),
        m_target(target),
        m_format(arguments.picture.For(target)),
        m_scale(scale),
        m_outcome(outcome) {}

  void OnThumbnail(const SThumbnailJob& job, bool made, const SQvPicBuf& picture) override {
    if (picture.data) Write(job.name, picture, made ? EOrigin::Made : EOrigin::Cache);
  }
  void OnFailed(const std::string& name, const std::string& reason) override { ReportFailure(m_outcome, name, reason); }

  void Write(const std::string& source, const SQvPicBuf& picture, EOrigin origin) const {
    if (!m_arguments.scaleBar.IsWanted()) {
      WritePicture(picture, m_target, m_format);
      return Tell(source, origin, picture, nullptr);
    }
    CQvPicture marked = CopyPicture(picture);
    const SDrawnScaleBar bar = DrawWantedScaleBar(m_arguments.scaleBar, m_scale, *marked.Get());
    WritePicture(*marked, m_target, m_format);
    Tell(source, origin, picture, &bar);
  }

 private:
  void Tell(const std::string& source, EOrigin origin, const SQvPicBuf& picture, const SDrawnScaleBar* bar) const {
    if (m_arguments.json) {
      CJson document = {{"source", source},
                        {"output", m_arguments.output},
                        {"width", picture.width},
                        {"height", picture.height},
                        {"made", origin != EOrigin::Cache}};
      if (bar) document.update(bar->Json());
      return PrintJson(std::move(document));
    }
    std::fprintf(m_target.IsStandardOutput() ? stderr : stdout, "%s: %u x %u pixels, %s%s\n",
                 Printable(m_target.Name()).c_str(), picture.width, picture.height, TextOf(origin),
                 bar ? ("; " + bar->Text()).c_str() : "");
  }

  const SShowArguments& m_arguments;
  const COutputTarget& m_target;
  const SPictureFormat m_format;
  const SPictureScale m_scale;
  SOutcome& m_outcome;
};

// Of a picture that can be shown; unknown for others.
SPictureScale ScaleOfFile(const SShowArguments& arguments, const std::string& file) {
  return arguments.scaleBar.IsWanted() ? ReadFileScale(file) : SPictureScale();
}

SPictureScale ScaleOfRecord(const SShowArguments& arguments, const CLibraryDatabase& library) {
  std::optional<std::string> bytes =
      arguments.scaleBar.IsWanted() ? library.File().Read(arguments.record, arguments.field) : std::nullopt;
  CQvRef<IQvPictureSource> source;
  CQvRef<IQvMetadataReader> reader;
  if (!bytes || OpenMemoryPicture(std::move(*bytes), source.Out(), nullptr) != kQvOk) return {};
  return source->GetMetadataReader(reader.Out()) == kQvOk ? ScaleOf(*reader) : SPictureScale();
}

void Show(const SShowArguments& arguments, const COutputTarget& target, const SPictureScale& scale, CSession& session,
          IThumbnailJobs& jobs, SOutcome& outcome) {
  SMakeOptions options;
  options.highQuality = arguments.highQuality;
  options.picturesWanted = true;
  CShownPictureWriter writer(arguments, target, scale, outcome);
  if (!CThumbnailMaker(session, jobs, writer, options).Run()) outcome.status = kExitInterrupted;
}

void ShowFile(const SShowArguments& arguments, const COutputTarget& target, SOutcome& outcome) {
  target.RequireOtherThan(arguments.file);
  CSession session;
  session.Open(arguments.database, EDatabaseNeed::Use);
  const std::vector<std::string> files = {arguments.file};
  CFileJobs jobs(files, arguments.highQuality, session.DatabasePath());
  const std::unique_ptr<CCatalog> catalog = OpenCatalogFor(jobs, session, arguments.catalog);
  Show(arguments, target, ScaleOfFile(arguments, arguments.file), session, jobs, outcome);
}

// In a size that the cache does not keep, or of what has no name to keep it under.
void ShowSized(const SShowArguments& arguments, const COutputTarget& target, SOutcome& outcome) {
  const CInputFile input(arguments.file);
  target.RequireOtherThan(input.Path());
  LoadComponents();
  SetProcessView(ViewOf(*arguments.database.view));
  const int side = arguments.size != 0 ? arguments.size : arguments.highQuality ? kLargeSide : kStandardSide;
  const SSizedPicture made =
      MakeSizedPicture(input.Path(), static_cast<std::uint32_t>(side), arguments.highQuality, arguments.database);
  if (!made.picture.HasPixels()) return ReportFailure(outcome, input.Name(), made.failure);
  CShownPictureWriter(arguments, target, ScaleOfFile(arguments, input.Path()), outcome)
      .Write(input.Name(), *made.picture, made.fromCache ? EOrigin::Cache : EOrigin::MadeOnly);
}

// Without a session: what a label says is nothing for a database.
void ShowAssociated(const SShowArguments& arguments, const COutputTarget& target, SOutcome& outcome) {
  target.RequireOtherThan(arguments.file);
  LoadComponents();
  std::string reason;
  const CQvPicture picture = ReadAssociatedPicture(arguments.file, arguments.AssociatedName(), &reason);
  if (!picture.HasPixels()) return ReportFailure(outcome, arguments.file, reason);
  WritePicture(*picture, target, arguments.picture.For(target));
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

void ShowRecord(const SShowArguments& arguments, const COutputTarget& target, SOutcome& outcome) {
  CLibraryDatabase library(arguments.library);
  CSession session;
  session.Open(arguments.database, EDatabaseNeed::Use);
  CLibraryJobs jobs(library, arguments.record, arguments.field, arguments.highQuality);
  Show(arguments, target, ScaleOfRecord(arguments, library), session, jobs, outcome);
}

}  // namespace

void AddShowCommand(CCommand program, SOutcome& outcome) {
  const auto arguments = std::make_shared<SShowArguments>();
  CCommand command = program.AddVerb("show", "Write one thumbnail to a picture file");
  AddDatabaseOptions(command, &arguments->database);
  AddQualityOption(command, &arguments->highQuality);
  AddViewOptions(command, &arguments->database);
  AddRequired(command, "-o,--output", &arguments->output,
              "The picture file, ending in .jpg or .png; - is standard output", "OUT");
  COption size = command.AddOption("-s,--size", &arguments->size,
                                   "Longest side in pixels, up to 4096; what is made so is not cached");
  size.Between(1, kLargestSide).Type("N");
  AddPictureOptions(command, &arguments->picture);
  COption library =
      command.AddOption("--library", &arguments->library, "A record of an image library instead of a file");
  library.Type("FILE").Excludes(size);
  COption record = command.AddOption("--record", &arguments->record, "The record's number");
  record.Needs(library).Type("N");
  command.AddOption("--field", &arguments->field, "The record's picture field (default: image)")
      .Needs(library)
      .Type("NAME");
  COption file = command.AddOption("file", &arguments->file, "Image file; - is standard input");
  file.Type("FILE").Excludes(library).FileNames();
  AddCatalogOption(command, &arguments->catalog).Excludes(library).Excludes(size);
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
      "  qvthumbs show --quality high cells.tif -o cells.png\n\n"
      "Example: a picture for a slide show, through a pipe\n"
      "  qvthumbs show --size 1200 --format jpg --jpeg-quality 85 - -o - < cells.tif > cells.jpg");
  command.SetWork([arguments, &outcome, record] {
    CheckScaleBar(arguments->scaleBar);
    const COutputTarget target =
        arguments->picture.format.empty() ? PictureTarget(arguments->output) : AnyPictureTarget(arguments->output);
    arguments->picture.For(target);
    if (arguments->json && target.IsStandardOutput()) {
      throw CHostError("--json prints to standard output, where the picture goes; give one of them");
    }
    if (!arguments->library.empty() && !record.IsGiven()) throw CHostError("which record? Give its --record N");
    if (arguments->library.empty() && arguments->file.empty()) {
      throw CHostError("name the image file to show, or a --library and its --record");
    }
    if (*arguments->AssociatedName() != '\0') {
      if (arguments->size != 0)
        throw CHostError("--size is of the file's own picture; leave it or --label and --macro out");
      if (arguments->scaleBar.IsWanted()) throw CHostError("a label or macro image has no scale for a scale bar");
      ShowAssociated(*arguments, target, outcome);
    } else if (arguments->size != 0 || arguments->file == "-") {
      ShowSized(*arguments, target, outcome);
    } else if (arguments->library.empty()) {
      ShowFile(*arguments, target, outcome);
    } else {
      ShowRecord(*arguments, target, outcome);
    }
  });
}

}  // namespace qvhost
