#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <map>

#include "host/commands/command.h"
#include "host/output/json.h"
#include "host/output/text.h"
#include "host/output/time_text.h"
#include "host/session/cache_database.h"

namespace qvhost {
namespace {

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

void CountThumbnails(const SQLite::Database& db, SStats* stats) {
  SQLite::Statement rows(db, "SELECT filename, flags, length(binData) FROM cache");
  while (rows.executeStep()) {
    ++(rows.getColumn(1).getInt64() != 0 ? stats->high : stats->standard);
    const std::int64_t bytes = rows.getColumn(2).getInt64();
    stats->bytes += bytes;
    const std::filesystem::path file = rows.getColumn(0).getString();
    SFolder& folder = stats->folders[file.parent_path().string()];
    ++folder.thumbnails;
    folder.bytes += bytes;
  }
}

void CountBookkeeping(SQLite::Database& db, SStats* stats) {
  stats->textInfos = db.execAndGet("SELECT count(*) FROM metadata").getInt64();
  stats->experiments = db.execAndGet("SELECT count(*) FROM experiments").getInt64();
  stats->stored = db.execAndGet("SELECT count(*) FROM stored").getInt64();
  SQLite::Statement row(db, "SELECT count(*), count(DISTINCT userID), min(M_acqTime), max(M_acqTime) FROM history");
  if (!row.executeStep()) return;
  stats->history = row.getColumn(0).getInt64();
  stats->users = row.getColumn(1).getInt64();
  stats->firstAcquired = row.getColumn(2).getDouble();
  stats->lastAcquired = row.getColumn(3).getDouble();
}

SStats Collect(const SDatabaseOptions& options) {
  SStats stats;
  CCacheDatabase database(options, EDatabaseNeed::Look);
  SQLite::Database& db = database.Connection();
  stats.path = database.Path();
  for (const char* tail : {"", "-wal", "-journal"}) {
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(stats.path + tail, error);
    if (!error) stats.fileBytes += static_cast<std::int64_t>(size);
  }
  stats.journal = db.execAndGet("PRAGMA journal_mode").getString();
  CountThumbnails(db, &stats);
  CountBookkeeping(db, &stats);
  return stats;
}

std::vector<std::pair<std::string, SFolder>> LargestFolders(const SStats& stats) {
  std::vector<std::pair<std::string, SFolder>> folders(stats.folders.begin(), stats.folders.end());
  std::stable_sort(folders.begin(), folders.end(),
                   [](const auto& a, const auto& b) { return a.second.thumbnails > b.second.thumbnails; });
  if (folders.size() > kMaxListed) folders.resize(kMaxListed);
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
  if (stats.folders.size() > kMaxListed) std::printf("%s\n", FormatOmitted(stats.folders.size(), "folders").c_str());
}

}  // namespace

void AddStatsCommand(CCommand program, SOutcome&) {
  const auto arguments = std::make_shared<SArguments>();
  CCommand command = program.AddVerb("stats", "Tell what a database holds");
  AddDatabaseOptions(command, &arguments->database);
  AddJsonOption(command, &arguments->json);
  command.SetFooter("Example:\n  qvthumbs stats");
  command.SetWork([arguments] {
    const SStats stats = Collect(arguments->database);
    if (arguments->json) {
      PrintJson(ToJson(stats));
    } else {
      PrintStats(stats);
    }
  });
}

}  // namespace qvhost
