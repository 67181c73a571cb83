#include <fmt/format.h>

#include <cstdio>

#include "host/commands/command.h"
#include "host/files/file_jobs.h"
#include "host/files/image_file.h"
#include "host/library/library_jobs.h"
#include "host/output/json.h"
#include "host/output/picture.h"
#include "host/output/text.h"
#include "host/session/session.h"
#include "host/thumbnails/thumbnail_maker.h"

namespace qvhost {
namespace {

struct SArguments {
  SDatabaseOptions database;
  std::string file;
  std::string output;
  std::string quality = "standard";
  std::string library;
  std::int32_t record = 0;
  std::string field = "image";
  bool json = false;
};

// Writes the one thumbnail as it comes.
class CPictureWriter : public IThumbnailObserver {
 public:
  CPictureWriter(const SArguments& arguments, SRun& run) : m_arguments(arguments), m_run(run) {}

  void OnThumbnail(const SThumbnailJob& job, bool made, const SQvPicBuf& picture) override {
    if (!picture.data) return;
    WritePictureFile(picture, m_arguments.output);
    if (m_arguments.json) {
      PrintJson({{"source", job.name},
                 {"output", m_arguments.output},
                 {"width", picture.width},
                 {"height", picture.height},
                 {"made", made}});
      return;
    }
    std::printf("%s: %u x %u pixels, %s\n", Printable(m_arguments.output).c_str(), picture.width, picture.height,
                made ? "made now" : "from the cache");
  }
  void OnFailed(const std::string& name, const std::string& reason) override { ReportFailure(m_run, name, reason); }

 private:
  const SArguments& m_arguments;
  SRun& m_run;
};

void Show(const SArguments& arguments, CSession& session, IThumbnailJobs& jobs, SRun& run) {
  SMakeOptions options;
  options.highQuality = arguments.quality == "high";
  options.picturesWanted = true;
  CPictureWriter writer(arguments, run);
  if (!CThumbnailMaker(session, jobs, writer, options).Run()) run.status = kExitInterrupted;
}

void ShowFile(const SArguments& arguments, SRun& run) {
  CSession session;
  session.Open(arguments.database);
  CFileJobs jobs({arguments.file}, arguments.quality == "high", session.DatabasePath());
  Show(arguments, session, jobs, run);
}

void ShowRecord(const SArguments& arguments, SRun& run) {
  CLibraryDatabase library(arguments.library);
  CSession session;
  session.Open(arguments.database);
  CLibraryJobs jobs(library, arguments.record, arguments.field, arguments.quality == "high");
  Show(arguments, session, jobs, run);
}

}  // namespace

void AddShowCommand(CLI::App* app, SRun& run) {
  const auto arguments = std::make_shared<SArguments>();
  CLI::App* command = AddVerb(app, "show", "Write one thumbnail to a picture file");
  AddDatabaseOptions(command, &arguments->database);
  AddQualityOption(command, &arguments->quality);
  AddOption(command, "-o,--output", &arguments->output, "The picture file, ending in .jpg or .png",
            {.type = "OUT", .required = true});
  auto* library = AddOption(command, "--library", &arguments->library, "A record of an image library instead of a file",
                            {.type = "FILE"});
  auto* record =
      AddOption(command, "--record", &arguments->record, "The record's number", {.type = "N", .needs = library});
  AddOption(command, "--field", &arguments->field, "The record's picture field (default: image)",
            {.type = "NAME", .needs = library});
  AddOption(command, "file", &arguments->file, "Image file", {.type = "FILE", .excludes = library});
  AddJsonOption(command, &arguments->json);
  SetFooter(command,
            "Example: a large thumbnail of one image\n"
            "  qvthumbs show --quality high cells.tif -o cells.png");
  SetWork(command, [arguments, &run, record] {
    CheckPictureFileName(arguments->output);
    if (!arguments->library.empty() && !IsGiven(record)) throw CHostError("which record? Give its --record N");
    if (arguments->library.empty() && arguments->file.empty()) {
      throw CHostError("name the image file to show, or a --library and its --record");
    }
    if (arguments->library.empty()) {
      ShowFile(*arguments, run);
    } else {
      ShowRecord(*arguments, run);
    }
  });
}

}  // namespace qvhost
