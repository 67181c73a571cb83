#include <fmt/format.h>

#include <cstdio>

#include "host/commands/command.h"
#include "host/commands/prune_choice.h"
#include "host/files/image_file.h"
#include "host/find/picture_search.h"
#include "host/output/progress.h"
#include "host/session/cache_database.h"
#include "host/session/interrupt.h"
#include "host/session/stored_name.h"

namespace qvhost {
namespace {

struct SArguments {
  SDatabaseOptions database;
  std::string under;
  SPruneChoice choice;
  bool dryRun = false, json = false;
};

// A row that is to go.
struct SOrphanedRow {
  std::int64_t rowid;
  std::string file;
  std::int64_t bytes = 0;  // of its picture
};

std::vector<std::int64_t> RowIDs(const std::vector<SOrphanedRow>& rows) {
  std::vector<std::int64_t> ids;
  for (const SOrphanedRow& row : rows) ids.push_back(row.rowid);
  return ids;
}

bool IsUnder(const std::wstring& file, const std::wstring& folder) {
  return folder.empty() || (file.size() > folder.size() && file.compare(0, folder.size(), folder) == 0 &&
                            (folder.back() == L'/' || file[folder.size()] == L'/'));
}

class CPruner {
 public:
  CPruner(SQLite::Database& db, const SArguments& arguments)
      : m_db(db),
        m_under(arguments.under.empty() ? L"" : LowerCaseLocation(AbsolutePath(arguments.under)).Str()),
        m_choice(arguments.choice),
        m_progress(db.execAndGet("SELECT (SELECT count(*) FROM cache) + (SELECT count(*) FROM metadata)").getInt64(),
                   arguments.json) {}

  // Text information keeps its file names as UTF-16, thumbnails as UTF-8.
  std::vector<SOrphanedRow> FindThumbnails() {
    return Find("SELECT rowid, filename FROM cache ORDER BY filename",
                [](const std::string& name) { return CQvStringUtils::UTF8toW(name); });
  }
  std::vector<SOrphanedRow> FindTextInfos() {
    return Find("SELECT rowid, filename FROM metadata ORDER BY filename", &NameOfUtf16Row);
  }

  // A row that is replaced gets a new number, so the numbers are in the order in which thumbnails were made.
  std::vector<SOrphanedRow> FindUnwantedThumbnails() {
    const double oldestKept = m_choice.OldestKept();
    const auto most = m_choice.MostBytes();
    std::vector<SOrphanedRow> unwanted;
    std::int64_t kept = 0;
    bool isFull = false;
    SQLite::Statement rows(m_db, "SELECT rowid, filename, lastWritten, length(binData) FROM cache ORDER BY rowid DESC");
    while (rows.executeStep()) {
      CInterrupt::ThrowIfRequested("interrupted; nothing was removed");
      const std::string file = rows.getColumn(1).getString();
      const std::int64_t bytes = rows.getColumn(3).getInt64();
      m_progress.Update(++m_looked, file);
      if (!IsUnder(LowerCaseLocation(file).Str(), m_under)) continue;
      const bool isOld = rows.getColumn(2).getDouble() < oldestKept;
      isFull = isFull || (!isOld && most && bytes > *most - kept);
      if (isOld || isFull) {
        unwanted.push_back({rows.getColumn(0).getInt64(), file, bytes});
      } else {
        kept += bytes;
      }
    }
    return unwanted;
  }

 private:
  template <class ToLocation>
  std::vector<SOrphanedRow> Find(const char* sql, ToLocation toLocation) {
    std::vector<SOrphanedRow> gone;
    for (SQLite::Statement rows(m_db, sql); rows.executeStep();) {
      CInterrupt::ThrowIfRequested("interrupted; nothing was removed");
      const CQvStringW location = toLocation(rows.getColumn(1).getString());
      const std::string file = CQvStringUtils::WtoUTF8(location).Str();
      m_progress.Update(++m_looked, file);
      if (IsUnder(SQvThumbnailDescription::LowerCase(location).Str(), m_under) && !LocationExists(location))
        gone.push_back({rows.getColumn(0).getInt64(), file, 0});
    }
    return gone;
  }

  SQLite::Database& m_db;
  const std::wstring m_under;
  const SPruneChoice& m_choice;
  CProgress m_progress;
  std::int64_t m_looked = 0;
};

void PrintUnwanted(const SArguments& arguments, const std::vector<SOrphanedRow>& thumbnails) {
  std::int64_t bytes = 0;
  CJson files = CJson::array();
  for (const SOrphanedRow& row : thumbnails) {
    bytes += row.bytes;
    files.push_back(row.file);
    if (arguments.dryRun && !arguments.json) std::printf("%s\n", Printable(row.file).c_str());
  }
  if (arguments.json) {
    PrintJson({{"removed", !arguments.dryRun}, {"thumbnails", thumbnails.size()}, {"bytes", bytes}, {"files", files}});
  } else {
    std::printf("%s %s, %s\n", arguments.dryRun ? "would remove" : "removed",
                FormatCountOf(static_cast<std::int64_t>(thumbnails.size()), "thumbnail").c_str(),
                FormatBytes(bytes).c_str());
  }
}

void PruneUnwanted(const SArguments& arguments, SQLite::Database& db) {
  std::vector<SOrphanedRow> unwanted;
  {
    CPruner pruner(db, arguments);
    unwanted = pruner.FindUnwantedThumbnails();
    if (!arguments.dryRun) {
      DeleteRows(db, "cache", RowIDs(unwanted));
      RefreshSearchIndex(db);
    }
  }
  PrintUnwanted(arguments, unwanted);
}

void Print(const SArguments& arguments, const std::vector<SOrphanedRow>& thumbnails, std::size_t textInfos) {
  if (arguments.json) {
    CJson files = CJson::array();
    for (const SOrphanedRow& row : thumbnails) files.push_back(row.file);
    PrintJson({{"removed", !arguments.dryRun},
               {"thumbnails", thumbnails.size()},
               {"textInformation", textInfos},
               {"files", files}});
    return;
  }
  if (arguments.dryRun) {
    for (const SOrphanedRow& row : thumbnails) std::printf("%s\n", Printable(row.file).c_str());
  }
  std::printf("%s %s and %s of files that are gone\n", arguments.dryRun ? "would remove" : "removed",
              FormatCountOf(static_cast<std::int64_t>(thumbnails.size()), "thumbnail").c_str(),
              FormatCountOf(static_cast<std::int64_t>(textInfos), "text information").c_str());
}

void Prune(const SArguments& arguments) {
  CCacheDatabase database(arguments.database, arguments.dryRun ? EDatabaseNeed::Look : EDatabaseNeed::Change);
  SQLite::Database& db = database.Connection();
  if (arguments.choice.IsMade()) return PruneUnwanted(arguments, db);
  std::vector<SOrphanedRow> thumbnails, textInfos;
  {
    CPruner pruner(db, arguments);
    thumbnails = pruner.FindThumbnails();
    textInfos = pruner.FindTextInfos();
    if (!arguments.dryRun) {
      DeleteRows(db, "cache", RowIDs(thumbnails));
      DeleteRows(db, "metadata", RowIDs(textInfos));
      RefreshSearchIndex(db);
    }
  }
  Print(arguments, thumbnails, textInfos.size());
}

}  // namespace

void AddPruneCommand(CCommand program, SOutcome&) {
  const auto arguments = std::make_shared<SArguments>();
  CCommand command = program.AddVerb("prune", "Remove what the database holds of files that are gone");
  AddDatabaseOptions(command, &arguments->database);
  AddUnderOption(command, &arguments->under, "Only files below this folder");
  AddPruneChoice(command, &arguments->choice);
  AddDryRunOption(command, &arguments->dryRun);
  AddJsonOption(command, &arguments->json);
  command.SetFooter(
      "A disk that is not mounted looks like files that are gone. History and experiments stay.\n"
      "The file keeps its size; what is made later goes into the room.\n\n"
      "Example: look first\n  qvthumbs prune --dry-run\n\n"
      "Example: keep a gigabyte of what was made last\n  qvthumbs prune --max-size 1GB");
  command.SetWork([arguments] { Prune(*arguments); });
}

}  // namespace qvhost
