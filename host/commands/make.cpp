#include <fmt/format.h>

#include <cstdio>

#include "host/commands/command.h"
#include "host/commands/make_report.h"
#include "host/files/file_finder.h"
#include "host/files/file_jobs.h"
#include "host/library/library_jobs.h"
#include "host/session/session.h"
#include "host/thumbnails/thumbnail_maker.h"

namespace qvhost {
namespace {

struct SArguments {
  SDatabaseOptions database;
  std::vector<std::string> paths;
  std::string quality = "standard";
  std::string library;
  std::string field;
  bool recursive = false, sync = false, json = false;

  SMakeOptions MakeOptions() const {
    SMakeOptions options;
    options.highQuality = quality == "high";
    options.sync = sync;
    return options;
  }
};

void MakeOfFiles(const SArguments& arguments, SRun& run) {
  if (arguments.paths.empty()) throw CHostError("name the files or folders to make thumbnails of, or a --library");
  const SFoundFiles found = FindImageFiles(arguments.paths, arguments.recursive);
  if (found.files.empty() && found.problems.empty()) {
    std::fprintf(stderr, "qvthumbs: no image files there%s\n",
                 arguments.recursive ? "" : "; --recursive looks into the folders below, too");
  }
  CSession session;
  session.Open(arguments.database);
  CMakeReport report(static_cast<std::int64_t>(found.files.size() + found.problems.size()), arguments.json);
  for (const auto& [path, reason] : found.problems) report.OnFailed(path, reason);
  CFileJobs jobs(found.files, arguments.quality == "high", session.DatabasePath());
  const bool completed = CThumbnailMaker(session, jobs, report, arguments.MakeOptions()).Run();
  run.status = report.Print(session.DatabasePath(), completed);
}

void MakeOfLibrary(const SArguments& arguments, SRun& run) {
  if (!arguments.paths.empty()) throw CHostError("give either paths or a --library");
  // The library outlives the session, whose workers call it.
  CLibraryDatabase library(arguments.library);
  CLibraryJobs jobs(library, arguments.field, arguments.quality == "high");
  if (!arguments.field.empty() && jobs.Count() == 0) {
    throw CHostError(fmt::format("no record of the library has a field {}", arguments.field));
  }
  CSession session;
  session.Open(arguments.database);
  CMakeReport report(jobs.Count(), arguments.json);
  const bool completed = CThumbnailMaker(session, jobs, report, arguments.MakeOptions()).Run();
  run.status = report.Print(session.DatabasePath(), completed);
}

}  // namespace

void AddMakeCommand(CLI::App* app, SRun& run) {
  const auto arguments = std::make_shared<SArguments>();
  CLI::App* command = AddVerb(app, "make", "Make the thumbnails of image files that have none yet");
  AddDatabaseOptions(command, &arguments->database);
  AddFlag(command, "-r,--recursive", &arguments->recursive, "Also the folders below");
  AddQualityOption(command, &arguments->quality);
  AddFlag(command, "--sync", &arguments->sync, "One at a time, without the background workers");
  auto* library = AddOption(command, "--library", &arguments->library,
                            "The records of an image library instead of files", {.type = "FILE"});
  AddOption(command, "--field", &arguments->field, "Only this picture field of the records",
            {.type = "NAME", .needs = library});
  AddJsonOption(command, &arguments->json);
  AddOption(command, "paths", &arguments->paths, "Image files, and folders of them", {.type = "PATH"});
  SetFooter(command,
            "A thumbnail that the database holds is kept while its file is unchanged.\n"
            "Ctrl-C stops cleanly; nothing that was made is lost.\n\n"
            "Example: the thumbnails of a folder and all below\n"
            "  qvthumbs make --recursive ~/images");
  SetWork(command, [arguments, &run] {
    if (arguments->library.empty()) {
      MakeOfFiles(*arguments, run);
    } else {
      MakeOfLibrary(*arguments, run);
    }
  });
}

}  // namespace qvhost
