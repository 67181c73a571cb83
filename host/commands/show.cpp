#include <fmt/format.h>

#include <cstdio>

#include "host/commands/command.h"
#include "host/files/file_jobs.h"
#include "host/files/image_file.h"
#include "host/library/library_jobs.h"
#include "host/output/picture.h"
#include "host/session/session.h"
#include "host/thumbnails/thumbnail_maker.h"

namespace qvhost {
namespace {

struct SArguments {
  SDatabaseOptions database;
  std::string file;
  std::string output;
  std::string library;
  std::int32_t record = 0;
  std::string field = "image";
  bool highQuality = false, json = false;
};

// Writes the one thumbnail as it comes.
class CPictureWriter : public IThumbnailObserver {
 public:
  CPictureWriter(const SArguments& arguments, const COutputTarget& target, SOutcome& outcome)
      : m_arguments(arguments), m_target(target), m_outcome(outcome) {}

  void OnThumbnail(const SThumbnailJob& job, bool made, const SQvPicBuf& picture) override {
    if (!picture.data) return;
    WritePicture(picture, m_target);
    if (m_arguments.json) {
      PrintJson({{"source", job.name},
                 {"output", m_arguments.output},
                 {"width", picture.width},
                 {"height", picture.height},
                 {"made", made}});
      return;
    }
    std::fprintf(m_target.IsStandardOutput() ? stderr : stdout, "%s: %u x %u pixels, %s\n",
                 Printable(m_target.Name()).c_str(), picture.width, picture.height,
                 made ? "made now" : "from the cache");
  }
  void OnFailed(const std::string& name, const std::string& reason) override { ReportFailure(m_outcome, name, reason); }

 private:
  const SArguments& m_arguments;
  const COutputTarget& m_target;
  SOutcome& m_outcome;
};

void Show(const SArguments& arguments, const COutputTarget& target, CSession& session, IThumbnailJobs& jobs,
          SOutcome& outcome) {
  SMakeOptions options;
  options.highQuality = arguments.highQuality;
  options.picturesWanted = true;
  CPictureWriter writer(arguments, target, outcome);
  if (!CThumbnailMaker(session, jobs, writer, options).Run()) outcome.status = kExitInterrupted;
}

void ShowFile(const SArguments& arguments, const COutputTarget& target, SOutcome& outcome) {
  target.RequireOtherThan(arguments.file);
  CSession session;
  session.Open(arguments.database, EDatabaseNeed::Use);
  CFileJobs jobs({arguments.file}, arguments.highQuality, session.DatabasePath());
  Show(arguments, target, session, jobs, outcome);
}

void ShowRecord(const SArguments& arguments, const COutputTarget& target, SOutcome& outcome) {
  CLibraryDatabase library(arguments.library);
  CSession session;
  session.Open(arguments.database, EDatabaseNeed::Use);
  CLibraryJobs jobs(library, arguments.record, arguments.field, arguments.highQuality);
  Show(arguments, target, session, jobs, outcome);
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
  AddJsonOption(command, &arguments->json);
  command.SetFooter(
      "A picture is replaced only when qvthumbs wrote it.\n\n"
      "Example: a large thumbnail of one image\n"
      "  qvthumbs show --quality high cells.tif -o cells.png");
  command.SetWork([arguments, &outcome, record] {
    const COutputTarget target = PictureTarget(arguments->output);
    if (arguments->json && target.IsStandardOutput()) {
      throw CHostError("--json prints to standard output, where the picture goes; give one of them");
    }
    if (!arguments->library.empty() && !record.IsGiven()) throw CHostError("which record? Give its --record N");
    if (arguments->library.empty() && arguments->file.empty()) {
      throw CHostError("name the image file to show, or a --library and its --record");
    }
    if (arguments->library.empty()) {
      ShowFile(*arguments, target, outcome);
    } else {
      ShowRecord(*arguments, target, outcome);
    }
  });
}

}  // namespace qvhost
