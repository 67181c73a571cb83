#include <chrono>
#include <cstdio>
#include <thread>

#include "host/commands/command.h"
#include "host/files/file_finder.h"
#include "host/files/file_jobs.h"
#include "host/session/interrupt.h"
#include "host/session/session.h"
#include "host/thumbnails/thumbnail_maker.h"
#include "host/watch/watch_run.h"

namespace qvhost {
namespace {

using namespace std::chrono_literals;

struct SWatchArguments {
  SDatabaseOptions database;
  std::vector<std::string> folders;
  int quiet = 2;  // seconds
  SMakeOptions make;
};

// A line for each thumbnail that was made.
class CWatchReport : public IThumbnailObserver {
 public:
  void OnThumbnail(const SThumbnailJob& job, bool made, const SQvPicBuf&) override {
    if (!made) return;
    std::printf("%s\n", Printable(job.name).c_str());
    std::fflush(stdout);
  }
  void OnFailed(const std::string& name, const std::string& reason) override {
    std::fprintf(stderr, "qvthumbs: %s: %s\n", Printable(name).c_str(), reason.c_str());
  }
};

// False when it was interrupted.
bool MakeThumbnailsOf(const SWatchArguments& arguments, CSession& session, const std::vector<std::string>& files) {
  if (files.empty()) return true;
  CFileJobs jobs(files, arguments.make.highQuality, session.DatabasePath());
  CWatchReport report;
  return CThumbnailMaker(session, jobs, report, arguments.make).Run();
}

// Of what was written, what FindImageFiles would take from a folder: a name that is given counts whatever it is.
std::vector<std::string> ImagesAmong(const std::vector<std::string>& paths) {
  std::vector<std::string> images;
  for (const std::string& path : paths) {
    if (!HasImageName(path)) continue;
    const SFoundFiles found = FindImageFiles({path}, false);
    images.insert(images.end(), found.files.begin(), found.files.end());
  }
  return images;
}

void Watch(const SWatchArguments& arguments) {
  CSession session;
  session.Open(arguments.database, EDatabaseNeed::Fill);
  // Before the folders are searched, so that nothing is missed between.
  CWatchRun run(session.Service(), arguments.folders, std::chrono::seconds(arguments.quiet));
  std::fprintf(stderr, "Watching; Ctrl-C ends it.\n");
  bool isEverything = true;
  for (bool goesOn = true; goesOn && !CInterrupt::Requested();) {
    const CWatchRun::SNews news = run.Take();
    if (!news.problem.empty()) throw CHostError(news.problem);
    isEverything = isEverything || news.isEverything;
    const std::vector<std::string> files =
        isEverything ? FindImageFiles(arguments.folders, true).files : ImagesAmong(news.settled);
    isEverything = false;
    goesOn = MakeThumbnailsOf(arguments, session, files);
    if (goesOn && files.empty()) std::this_thread::sleep_for(100ms);
  }
}

}  // namespace

void AddWatchCommand(CCommand program) {
  const auto arguments = std::make_shared<SWatchArguments>();
  CCommand command = program.AddVerb("watch", "Keep thumbnails up to date while an instrument writes");
  AddDatabaseOptions(command, &arguments->database);
  AddQualityOption(command, &arguments->make.highQuality);
  AddViewOptions(command, &arguments->database);
  command
      .AddOption("--quiet-for", &arguments->quiet,
                 "A file is complete when nothing was written to it for so many seconds (default: 2)")
      .Positive()
      .Type("SECONDS");
  AddRequired(command, "folders", &arguments->folders, "The folders to watch, with those below", "FOLDER").FileNames();
  command.SetFooter(
      "What is missing is made first. Prints the name of each file of which it has made a thumbnail. Sees what this\n"
      "machine writes: in a folder of a file server, run it there. Ctrl-C ends it.\n\n"
      "Example:\n  qvthumbs watch ~/acquisitions");
  command.SetWork([arguments] { Watch(*arguments); });
}

}  // namespace qvhost
