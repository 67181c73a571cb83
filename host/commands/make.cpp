#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <memory>

#include "host/commands/catalog_choice.h"
#include "host/commands/command.h"
#include "host/commands/make_report.h"
#include "host/files/file_finder.h"
#include "host/files/file_jobs.h"
#include "host/files/file_list.h"
#include "host/jobs/job_count.h"
#include "host/jobs/job_team.h"
#include "host/library/library_jobs.h"
#include "host/session/session.h"
#include "host/shards/catalog_supply.h"
#include "host/shards/shard.h"
#include "host/shards/shard_run.h"
#include "host/thumbnails/thumbnail_maker.h"

namespace qvhost {
namespace {

struct SMakeArguments {
  SDatabaseOptions database;
  std::vector<std::string> paths;
  std::vector<std::string> excluded;  // patterns
  std::string list;                   // a file with the names of files
  std::string shard;                  // "3/8"
  std::string catalog;
  std::string library;
  std::string field;
  std::string jobs;  // how many at once; empty: not said
  SMakeOptions make;
  bool recursive = false, failuresOk = false, quiet = false, json = false;
};

EMakeOutput OutputOf(const SMakeArguments& arguments) {
  return arguments.json ? EMakeOutput::Json : arguments.quiet ? EMakeOutput::Failures : EMakeOutput::All;
}

// `make` tells whether all was done.
template <class Make>
int RunAndPrint(const CSession& session, CMakeReport& report, const Make& make) {
  try {
    const bool completed = make();
    return report.Print(session.DatabasePath(), completed);
  } catch (const CHostError&) {
    report.Print(session.DatabasePath(), false);
    throw;
  }
}

// Null when the workers of this process are enough. It is to be started before the session.
std::unique_ptr<CJobTeam> StartTeam(const SMakeArguments& arguments, const std::vector<std::string>& files,
                                    const std::string& database) {
  if (arguments.jobs.empty()) return nullptr;
  const int jobs = static_cast<int>(std::min(static_cast<std::size_t>(ParseJobCount(arguments.jobs)), files.size()));
  if (jobs <= CJobTeam::kAtOnce) return nullptr;
  SJobSettings settings{arguments.database, arguments.make, arguments.catalog};
  settings.database.file = database;
  return std::make_unique<CJobTeam>(files, jobs, settings);
}

SFoundFiles FindBelowPaths(const SMakeArguments& arguments) {
  return FindImageFiles(arguments.paths, arguments.recursive, CNameFilter(arguments.excluded));
}

// Of all files that are named, those of the shard.
SFoundFiles FindFiles(const SMakeArguments& arguments, const SShard& shard, CShardFiles& chosen) {
  SFoundFiles found;
  if (arguments.list.empty()) {
    found = FindBelowPaths(arguments);
    for (std::string& file : found.files) chosen.Offer(std::move(file));
    // One of the shards tells of paths that lead nowhere.
    if (shard.number != 1) found.problems.clear();
  } else {
    const CNameFilter filter(arguments.excluded);
    ReadFileList(arguments.list, [&](std::string name) {
      if (!filter.Excludes(name)) chosen.Offer(std::move(name));
    });
  }
  found.files = chosen.Take();
  return found;
}

void Make(const SMakeArguments& arguments, const SFoundFiles& found, CSession& session, CJobTeam* team,
          CMakeReport& report, SOutcome& outcome) {
  for (const auto& [path, reason] : found.problems) report.OnFailed(path, reason);
  CFileJobs jobs(found.files, arguments.make.highQuality, session.DatabasePath());
  // One that cannot be used is refused before a team takes from it, too.
  const std::unique_ptr<CCatalog> catalog = OpenCatalogFor(jobs, session, arguments.catalog);
  outcome.status = RunAndPrint(session, report, [&] {
    bool completed = false;
    if (team) {
      completed = team->Run(session.DatabasePath(), report, [&](const std::string& line) { report.PrintLine(line); });
    } else {
      jobs.LookAhead();
      completed = CThumbnailMaker(session, jobs, report, arguments.make).Run();
    }
    if (catalog) report.SetFromCatalog(team ? team->Supplied() : catalog->Supplied());
    return completed;
  });
}

void MakeForFiles(const SMakeArguments& arguments, SOutcome& outcome) {
  CShardFiles chosen({1, 1});
  // Those below paths are different ones as they are found.
  const SFoundFiles found = arguments.list.empty() ? FindBelowPaths(arguments) : FindFiles(arguments, {1, 1}, chosen);
  if (found.files.empty() && found.problems.empty()) {
    std::fprintf(
        stderr, "qvthumbs: no image files there%s\n",
        arguments.recursive || !arguments.list.empty() ? "" : "; --recursive looks into the folders below, too");
  }
  const std::unique_ptr<CJobTeam> team = StartTeam(arguments, found.files, arguments.database.file);
  CSession session;
  session.Open(arguments.database, EDatabaseNeed::Fill);
  CMakeReport report(static_cast<std::int64_t>(found.files.size() + found.problems.size()), OutputOf(arguments));
  Make(arguments, found, session, team.get(), report, outcome);
}

CJson Asked(const SMakeArguments& arguments) {
  CJson asked = {{"quality", arguments.make.highQuality ? "high" : "standard"}};
  if (arguments.list.empty()) {
    asked["paths"] = arguments.paths;
    asked["recursive"] = arguments.recursive;
  } else {
    asked["filesFrom"] = arguments.list;
  }
  if (!arguments.excluded.empty()) asked["exclude"] = arguments.excluded;
  return asked;
}

void MakeShard(const SMakeArguments& arguments, SOutcome& outcome) {
  const SShard shard = ParseShard(arguments.shard);
  if (arguments.database.file.empty()) {
    throw CHostError("--shard needs a --db FILE, beside which each shard has a database of its own");
  }
  CShardRun run(shard, ChooseDatabase(arguments.database).path);
  CShardFiles chosen(shard);
  const SFoundFiles found = FindFiles(arguments, shard, chosen);
  CMakeReport report(static_cast<std::int64_t>(found.files.size() + found.problems.size()), OutputOf(arguments));
  SShardManifest& manifest = run.Manifest();
  manifest.asked = Asked(arguments);
  manifest.filesOfAllShards = chosen.Offered();
  manifest.files = static_cast<std::int64_t>(found.files.size() + found.problems.size());
  {
    const std::unique_ptr<CJobTeam> team = StartTeam(arguments, found.files, run.Database());
    SDatabaseOptions database = arguments.database;
    database.file = run.Database();
    CSession session;
    session.Open(database, EDatabaseNeed::Fill);
    manifest.settings = CurrentSettings(session.Service(), chosen.MountPoints());
    manifest.versions = VersionText();
    run.Begin();
    Make(arguments, found, session, team.get(), report, outcome);
  }
  manifest.made = report.Made();
  manifest.alreadyCached = report.AlreadyCached();
  manifest.failures = report.Failures();
  run.End(outcome.status != kExitInterrupted);
}

void MakeForLibrary(const SMakeArguments& arguments, SOutcome& outcome) {
  if (!arguments.paths.empty()) throw CHostError("give either paths or a --library");
  // The library outlives the session, whose workers call it.
  CLibraryDatabase library(arguments.library);
  CLibraryJobs jobs(library, arguments.field, arguments.make.highQuality);
  if (!arguments.field.empty() && jobs.Count() == 0) {
    throw CHostError(fmt::format("no record of the library has a field {}", arguments.field));
  }
  CSession session;
  session.Open(arguments.database, EDatabaseNeed::Fill);
  CMakeReport report(jobs.Count(), OutputOf(arguments));
  outcome.status =
      RunAndPrint(session, report, [&] { return CThumbnailMaker(session, jobs, report, arguments.make).Run(); });
}

}  // namespace

void AddMakeCommand(CCommand program, SOutcome& outcome) {
  const auto arguments = std::make_shared<SMakeArguments>();
  CCommand command = program.AddVerb("make", "Make the thumbnails of image files that have none yet");
  AddDatabaseOptions(command, &arguments->database);
  AddRecursiveOption(command, &arguments->recursive);
  AddQualityOption(command, &arguments->make.highQuality);
  AddViewOptions(command, &arguments->database);
  COption sync = command.AddFlag("--sync", &arguments->make.sync, "One at a time, without the background workers");
  COption library =
      command.AddOption("--library", &arguments->library, "The records of an image library instead of files");
  library.Type("FILE");
  command
      .AddOption("--jobs", &arguments->jobs,
                 "Make N thumbnails at once, 1 to 256 (default: 2); 0 or auto: as many as there are processors")
      .Excludes(sync)
      .Excludes(library)
      .NotEmpty("an empty text is no number")
      .Type("N|auto");
  command.AddOption("--field", &arguments->field, "Only this picture field of the records").Needs(library).Type("NAME");
  COption paths = command.AddOption("paths", &arguments->paths, "Image files, and folders of them");
  paths.Type("PATH").FileNames();
  command
      .AddOption("--files-from", &arguments->list,
                 "Take the names of the files from FILE, a line each or each ended by a NUL; - is standard input")
      .Excludes(paths)
      .Excludes(library)
      .NotEmpty("an empty name is no file")
      .Type("FILE");
  command
      .AddOption("--shard", &arguments->shard,
                 "Only the Kth of N equal parts, into a database of its own beside the --db FILE, with a manifest")
      .Excludes(library)
      .Type("K/N");
  command
      .AddOption("--exclude", &arguments->excluded,
                 "Leave out files and folders of this name, or path, e.g. '*_raw.tif' or 'old/*'; may be repeated")
      .Excludes(library)
      .Each()
      .Type("PATTERN");
  AddCatalogOption(command, &arguments->catalog).Excludes(library);
  command.AddFlag("--failures-ok", &arguments->failuresOk, "Exit with 0 although some files failed");
  COption quiet = command.AddFlag("-q,--quiet", &arguments->quiet, "Print nothing but what failed");
  AddJsonOption(command, &arguments->json).Excludes(quiet);
  command.SetFooter(
      "A thumbnail that the database holds is kept while its file is unchanged.\n"
      "Ctrl-C stops cleanly; nothing that was made is lost.\n\n"
      "Example: the thumbnails of a folder and all below\n"
      "  qvthumbs make --recursive ~/images\n\n"
      "Example: the same on all processors of a server\n"
      "  qvthumbs make --recursive --jobs auto ~/images\n\n"
      "Example: one of eight parts of a long list, for 'qvthumbs merge'\n"
      "  qvthumbs make --files-from images.txt --shard 3/8 --db /scratch/lab.db");
  command.SetWork([arguments, &outcome] {
    if (!arguments->jobs.empty() && ParseJobCount(arguments->jobs) == 1) arguments->make.sync = true;
    if (!arguments->library.empty()) {
      MakeForLibrary(*arguments, outcome);
    } else if (arguments->paths.empty() && arguments->list.empty()) {
      throw CHostError("name the files or folders to make thumbnails of, a --library, or a list of --files-from");
    } else if (arguments->shard.empty()) {
      MakeForFiles(*arguments, outcome);
    } else {
      MakeShard(*arguments, outcome);
    }
    if (arguments->failuresOk && outcome.status == kExitSomeFailed) outcome.status = kExitOk;
  });
}

}  // namespace qvhost
