#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <map>

#include "host/commands/command.h"
#include "host/output/json.h"
#include "host/output/text.h"
#include "host/session/cache_database.h"

namespace qvhost {
namespace {

constexpr std::size_t kListedFolders = 10;

struct SArguments {
  SDatabaseOptions database;
  bool json = false;
};

struct SFolder {
  std::int64_t thumbnails = 0, bytes = 0;
};

struct SStats {
  std::string path;
  std::int64_t fileBytes = 0;
  std::string journal;
  std::int64_t standard = 0, high = 0, bytes = 0;
  std::map<std::string, SFolder> folders;
  std::int64_t textInfos = 0, experiments = 0, stored = 0, history = 0, users = 0;
  double firstAcquired = 0.0, lastAcquired = 0.0;
};

void CountThumbnails(const CSqlite& db, SStats* stats) {
  CStatement rows = db.Prepare("SELECT filename, flags, length(binData) FROM cache");
  while (rows.Step()) {
    ++(rows.Int(1) != 0 ? stats->high : stats->standard);
    stats->bytes += rows.Int(2);
    SFolder& folder = stats->folders[std::filesystem::path(rows.Text(0)).parent_path().string()];
    ++folder.thumbnails;
    folder.bytes += rows.Int(2);
  }
}

void CountBookkeeping(const CSqlite& db, SStats* stats) {
  stats->textInfos = db.RunInt("SELECT count(*) FROM metadata");
  stats->experiments = db.RunInt("SELECT count(*) FROM experiments");
  stats->stored = db.RunInt("SELECT count(*) FROM stored");
  CStatement row = db.Prepare("SELECT count(*), count(DISTINCT userID), min(M_acqTime), max(M_acqTime) FROM history");
  if (!row.Step()) return;
  stats->history = row.Int(0);
  stats->users = row.Int(1);
  stats->firstAcquired = row.Double(2);
  stats->lastAcquired = row.Double(3);
}

SStats Collect(const SDatabaseOptions& options) {
  SStats stats;
  const CSqlite db = OpenCacheDatabase(options, &stats.path);
  for (const char* tail : {"", "-wal", "-journal"}) {
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(stats.path + tail, error);
    if (!error) stats.fileBytes += static_cast<std::int64_t>(size);
  }
  stats.journal = db.Run("PRAGMA journal_mode");
  CountThumbnails(db, &stats);
  CountBookkeeping(db, &stats);
  return stats;
}

std::vector<std::pair<std::string, SFolder>> LargestFolders(const SStats& stats) {
  std::vector<std::pair<std::string, SFolder>> folders(stats.folders.begin(), stats.folders.end());
  std::stable_sort(folders.begin(), folders.end(),
                   [](const auto& a, const auto& b) { return a.second.thumbnails > b.second.thumbnails; });
  if (folders.size() > kListedFolders) folders.resize(kListedFolders);
  return folders;
}

CJson ToJson(const SStats& stats) {
  CJson folders = CJson::array();
  for (const auto& [name, folder] : LargestFolders(stats)) {
    folders.push_back({{"folder", name}, {"thumbnails", folder.thumbnails}, {"bytes", folder.bytes}});
  }
  return {{"database", stats.path},
          {"fileBytes", stats.fileBytes},
          {"journalMode", stats.journal},
          {"thumbnails", {{"standard", stats.standard}, {"high", stats.high}, {"bytes", stats.bytes}}},
          {"textInformation", stats.textInfos},
          {"experiments", stats.experiments},
          {"history",
           {{"records", stats.history},
            {"users", stats.users},
            {"first", JsonTime(stats.firstAcquired)},
            {"last", JsonTime(stats.lastAcquired)}}},
          {"storedItems", stats.stored},
          {"folderCount", stats.folders.size()},
          {"largestFolders", folders}};
}

void PrintStats(const SStats& stats) {
  const auto line = [](const char* label, const std::string& value) {
    std::printf("%-17s %s\n", label, value.c_str());
  };
  line("Database", Printable(stats.path));
  line("Size", fmt::format("{} ({})", FormatBytes(stats.fileBytes),
                           stats.journal == "wal" ? "write-ahead journal" : stats.journal + " journal"));
  const std::int64_t thumbnails = stats.standard + stats.high;
  std::string text = FormatCount(thumbnails);
  if (thumbnails > 0) {
    text += fmt::format(" ({} standard, {} high quality), {}, {} each", FormatCount(stats.standard),
                        FormatCount(stats.high), FormatBytes(stats.bytes), FormatBytes(stats.bytes / thumbnails));
  }
  line("Thumbnails", text);
  line("Text information", FormatCount(stats.textInfos));
  line("Experiments", FormatCount(stats.experiments));
  text = FormatCount(stats.history);
  if (stats.history > 0) {
    text += fmt::format(" of {} user{}, {} to {}", FormatCount(stats.users), stats.users == 1 ? "" : "s",
                        FormatTime(stats.firstAcquired), FormatTime(stats.lastAcquired));
  }
  line("History records", text);
  line("Stored items", FormatCount(stats.stored));
  if (stats.folders.empty()) return;
  std::printf("\n");
  CTable table({"Thumbnails", "Size", "Folder"}, {true, true, false});
  for (const auto& [name, folder] : LargestFolders(stats)) {
    table.Add({FormatCount(folder.thumbnails), FormatBytes(folder.bytes), Printable(name)});
  }
  table.Print();
  if (stats.folders.size() > kListedFolders) {
    std::printf("and %s more folders\n",
                FormatCount(static_cast<std::int64_t>(stats.folders.size() - kListedFolders)).c_str());
  }
}

}  // namespace

void AddStatsCommand(CLI::App* app, SRun&) {
  const auto arguments = std::make_shared<SArguments>();
  CLI::App* command = AddVerb(app, "stats", "Tell what a database holds");
  AddDatabaseOptions(command, &arguments->database);
  AddJsonOption(command, &arguments->json);
  SetFooter(command, "Example:\n  qvthumbs stats");
  SetWork(command, [arguments] {
    const SStats stats = Collect(arguments->database);
    if (arguments->json) {
      PrintJson(ToJson(stats));
    } else {
      PrintStats(stats);
    }
  });
}

}  // namespace qvhost
