#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <map>
#include <optional>

#include "host/commands/command.h"
#include "host/output/json.h"
#include "host/output/text.h"
#include "host/output/time_text.h"
#include "host/session/cache_database.h"
#include "host/session/database_stamp.h"

namespace qvhost {
namespace {

struct SArguments {
  SDatabaseOptions database;
  bool details = false, json = false;
};

struct SFolder {
  std::int64_t thumbnails = 0, bytes = 0;
};

// What is known only when every row was looked at.
struct SDetails {
  std::int64_t standard = 0, high = 0, bytes = 0;
  std::map<std::string, SFolder> folders;
  std::int64_t users = 0;
  double firstAcquired = 0.0, lastAcquired = 0.0;
};

struct SStats {
  std::string path;
  std::int64_t fileBytes = 0;
  std::string journal;
  std::int64_t thumbnails = 0, textInfos = 0, experiments = 0, stored = 0, history = 0;
  std::optional<SDetails> details;
};

std::int64_t CountRows(SQLite::Database& db, const char* table) {
  return db.execAndGet(fmt::format("SELECT count(*) FROM {}", table)).getInt64();
}

void LookAtThumbnails(const SQLite::Database& db, SDetails* details) {
  SQLite::Statement rows(db, "SELECT filename, flags, length(binData) FROM cache");
  while (rows.executeStep()) {
    ++(rows.getColumn(1).getInt64() != 0 ? details->high : details->standard);
    const std::int64_t bytes = rows.getColumn(2).getInt64();
    details->bytes += bytes;
    const std::filesystem::path file = rows.getColumn(0).getString();
    SFolder& folder = details->folders[file.parent_path().string()];
    ++folder.thumbnails;
    folder.bytes += bytes;
  }
}

void LookAtHistory(const SQLite::Database& db, SDetails* details) {
  SQLite::Statement row(db, "SELECT count(DISTINCT userID), min(M_acqTime), max(M_acqTime) FROM history");
  if (!row.executeStep()) return;
  details->users = row.getColumn(0).getInt64();
  details->firstAcquired = row.getColumn(1).getDouble();
  details->lastAcquired = row.getColumn(2).getDouble();
}

SStats Collect(const SArguments& arguments) {
  SStats stats;
  CCacheDatabase database(arguments.database, EDatabaseNeed::Look);
  SQLite::Database& db = database.Connection();
  stats.path = database.Path();
  for (const char* tail : kDatabaseTails) {
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(stats.path + tail, error);
    if (!error) stats.fileBytes += static_cast<std::int64_t>(size);
  }
  stats.journal = db.execAndGet("PRAGMA journal_mode").getString();
  stats.thumbnails = CountRows(db, "cache");
  stats.textInfos = CountRows(db, "metadata");
  stats.experiments = CountRows(db, "experiments");
  stats.stored = CountRows(db, "stored");
  stats.history = CountRows(db, "history");
  if (arguments.details) {
    LookAtThumbnails(db, &stats.details.emplace());
    LookAtHistory(db, &*stats.details);
  }
  return stats;
}

std::vector<std::pair<std::string, SFolder>> LargestFolders(const SDetails& details) {
  std::vector<std::pair<std::string, SFolder>> folders(details.folders.begin(), details.folders.end());
  std::stable_sort(folders.begin(), folders.end(),
                   [](const auto& a, const auto& b) { return a.second.thumbnails > b.second.thumbnails; });
  if (folders.size() > kMaxListed) folders.resize(kMaxListed);
  return folders;
}

CJson ToJson(const SStats& stats) {
  CJson document = {{"database", stats.path},
                    {"fileBytes", stats.fileBytes},
                    {"journalMode", stats.journal},
                    {"thumbnails", {{"count", stats.thumbnails}}},
                    {"textInformation", stats.textInfos},
                    {"experiments", stats.experiments},
                    {"history", {{"records", stats.history}}},
                    {"storedItems", stats.stored}};
  if (!stats.details) return document;
  const SDetails& details = *stats.details;
  document["thumbnails"].update({{"standard", details.standard}, {"high", details.high}, {"bytes", details.bytes}});
  document["history"].update(
      {{"users", details.users}, {"first", JsonTime(details.firstAcquired)}, {"last", JsonTime(details.lastAcquired)}});
  CJson folders = CJson::array();
  for (const auto& [name, folder] : LargestFolders(details)) {
    folders.push_back({{"folder", name}, {"thumbnails", folder.thumbnails}, {"bytes", folder.bytes}});
  }
  document["folderCount"] = details.folders.size();
  document["largestFolders"] = folders;
  return document;
}

std::string ThumbnailText(const SStats& stats) {
  const std::string count = FormatCount(stats.thumbnails);
  if (!stats.details || stats.thumbnails == 0) return count;
  const SDetails& details = *stats.details;
  return fmt::format("{} ({} standard, {} high quality), {}, {} each", count, FormatCount(details.standard),
                     FormatCount(details.high), FormatBytes(details.bytes),
                     FormatBytes(details.bytes / stats.thumbnails));
}

std::string HistoryText(const SStats& stats) {
  const std::string count = FormatCount(stats.history);
  if (!stats.details || stats.history == 0) return count;
  const SDetails& details = *stats.details;
  return fmt::format("{} of {}, {} to {}", count, FormatCountOf(details.users, "user"),
                     FormatTime(details.firstAcquired), FormatTime(details.lastAcquired));
}

void PrintFolders(const SDetails& details) {
  if (details.folders.empty()) return;
  std::printf("\n");
  CTable table({"Thumbnails", "Size", "Folder"}, {true, true, false});
  for (const auto& [name, folder] : LargestFolders(details)) {
    table.Add({FormatCount(folder.thumbnails), FormatBytes(folder.bytes), Printable(name)});
  }
  table.Print();
  const std::size_t count = details.folders.size();
  if (count > kMaxListed) std::printf("%s\n", FormatOmitted(count, "folders").c_str());
}

void PrintStats(const SStats& stats) {
  const auto line = [](const char* label, const std::string& value) {
    std::printf("%-17s %s\n", label, value.c_str());
  };
  line("Database", Printable(stats.path));
  line("Size", fmt::format("{} ({})", FormatBytes(stats.fileBytes),
                           stats.journal == "wal" ? "write-ahead journal" : stats.journal + " journal"));
  line("Thumbnails", ThumbnailText(stats));
  line("Text information", FormatCount(stats.textInfos));
  line("Experiments", FormatCount(stats.experiments));
  line("History records", HistoryText(stats));
  line("Stored items", FormatCount(stats.stored));
  if (stats.details) PrintFolders(*stats.details);
}

}  // namespace

void AddStatsCommand(CCommand program, SOutcome&) {
  const auto arguments = std::make_shared<SArguments>();
  CCommand command = program.AddVerb("stats", "Tell what a database holds");
  AddDatabaseOptions(command, &arguments->database);
  command.AddFlag("--details", &arguments->details,
                  "Look at every row, too: qualities, sizes, folders, users and times; seconds for a million");
  AddJsonOption(command, &arguments->json);
  command.SetFooter("Example:\n  qvthumbs stats --details");
  command.SetWork([arguments] {
    const SStats stats = Collect(*arguments);
    if (arguments->json) {
      PrintJson(ToJson(stats));
    } else {
      PrintStats(stats);
    }
  });
}

}  // namespace qvhost
