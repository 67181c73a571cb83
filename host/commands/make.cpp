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
  std::string library;
  std::string field;
  SMakeOptions make;
  bool recursive = false, json = false;
};

int RunMaker(const SArguments& arguments, CSession& session, IThumbnailJobs& jobs, CMakeReport& report) {
  try {
    const bool completed = CThumbnailMaker(session, jobs, report, arguments.make).Run();
    return report.Print(session.DatabasePath(), completed);
  } catch (const CHostError&) {
    report.Print(session.DatabasePath(), false);
    throw;
  }
}

void MakeForFiles(const SArguments& arguments, SOutcome& outcome) {
  if (arguments.paths.empty()) throw CHostError("name the files or folders to make thumbnails of, or a --library");
  const SFoundFiles found = FindImageFiles(arguments.paths, arguments.recursive);
  if (found.files.empty() && found.problems.empty()) {
    std::fprintf(stderr, "qvthumbs: no image files there%s\n",
                 arguments.recursive ? "" : "; --recursive looks into the folders below, too");
  }
  CSession session;
  session.Open(arguments.database, EDatabaseNeed::Fill);
  CMakeReport report(static_cast<std::int64_t>(found.files.size() + found.problems.size()), arguments.json);
  for (const auto& [path, reason] : found.problems) report.OnFailed(path, reason);
  CFileJobs jobs(found.files, arguments.make.highQuality, session.DatabasePath());
  outcome.status = RunMaker(arguments, session, jobs, report);
}

void MakeForLibrary(const SArguments& arguments, SOutcome& outcome) {
  if (!arguments.paths.empty()) throw CHostError("give either paths or a --library");
  // The library outlives the session, whose workers call it.
  CLibraryDatabase library(arguments.library);
  CLibraryJobs jobs(library, arguments.field, arguments.make.highQuality);
  if (!arguments.field.empty() && jobs.Count() == 0) {
    throw CHostError(fmt::format("no record of the library has a field {}", arguments.field));
  }
  CSession session;
  session.Open(arguments.database, EDatabaseNeed::Fill);
  CMakeReport report(jobs.Count(), arguments.json);
  outcome.status = RunMaker(arguments, session, jobs, report);
}

}  // namespace

void AddMakeCommand(CCommand program, SOutcome& outcome) {
  const auto arguments = std::make_shared<SArguments>();
  CCommand command = program.AddVerb("make", "Make the thumbnails of image files that have none yet");
  AddDatabaseOptions(command, &arguments->database);
  AddRecursiveOption(command, &arguments->recursive);
  AddQualityOption(command, &arguments->make.highQuality);
  AddViewOptions(command, &arguments->database);
  command.AddFlag("--sync", &arguments->make.sync, "One at a time, without the background workers");
  COption library =
      command.AddOption("--library", &arguments->library, "The records of an image library instead of files");
  library.Type("FILE");
  command.AddOption("--field", &arguments->field, "Only this picture field of the records").Needs(library).Type("NAME");
  AddJsonOption(command, &arguments->json);
  command.AddOption("paths", &arguments->paths, "Image files, and folders of them").Type("PATH").FileNames();
  command.SetFooter(
      "A thumbnail that the database holds is kept while its file is unchanged.\n"
      "Ctrl-C stops cleanly; nothing that was made is lost.\n\n"
      "Example: the thumbnails of a folder and all below\n"
      "  qvthumbs make --recursive ~/images");
  command.SetWork([arguments, &outcome] {
    if (arguments->library.empty()) {
      MakeForFiles(*arguments, outcome);
    } else {
      MakeForLibrary(*arguments, outcome);
    }
  });
}

}  // namespace qvhost
