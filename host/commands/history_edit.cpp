#include "host/commands/history_edit.h"

#include <cstdint>
#include <cstdio>
#include <memory>

#include "host/files/image_file.h"
#include "host/session/cache_database.h"

namespace qvhost {
namespace {

struct SAssignArguments {
  SDatabaseOptions database;
  std::string user;
  std::vector<std::string> files;
  bool json = false;
};

constexpr const char* kNoRecord = "has no record; 'qvthumbs history list' lists them";

// False when there is no record of the file.
bool DeleteRecord(SQLite::Database& db, const std::string& path, bool dryRun) {
  SQLite::Transaction transaction(db, SQLite::TransactionBehavior::IMMEDIATE);
  SQLite::Statement row(db, "DELETE FROM history WHERE filename = ?1 RETURNING experimentID");
  row.bind(1, path);
  if (!row.executeStep()) return false;
  const int experiment = row.getColumn(0).getInt();
  while (row.executeStep()) continue;
  SQLite::Statement unused(
      db,
      "DELETE FROM experiments WHERE experimentID = ?1 AND NOT EXISTS (SELECT 1 FROM history WHERE experimentID = ?1)");
  unused.bind(1, experiment);
  unused.exec();
  if (!dryRun) transaction.commit();
  return true;
}

bool AssignRecord(SQLite::Database& db, const std::string& path, const std::string& user) {
  SQLite::Statement row(db, "UPDATE history SET userID = ?2 WHERE filename = ?1");
  SQLite::bind(row, path, user);
  return row.exec() > 0;
}

// Does it for each file, and names those without a record. Returns how many had one.
template <class Edit>
std::int64_t EditRecords(const std::vector<std::string>& files, SOutcome& outcome, const Edit& edit) {
  std::int64_t edited = 0;
  for (const std::string& file : files) {
    // A file that is gone may be named by the escapes of JSON.
    if (edit(AbsolutePath(file)) || edit(AbsolutePath(UnescapeBytes(file)))) {
      ++edited;
    } else {
      ReportFailure(outcome, file, kNoRecord);
    }
  }
  return edited;
}

void PrintEdited(bool json, const char* what, std::int64_t count) {
  if (json) {
    PrintJson({{std::string(what) == "would delete" ? "wouldDelete" : what, count}});
  } else {
    std::printf("%s %s\n", what, FormatCountOf(count, "record").c_str());
  }
}

void Assign(const SAssignArguments& arguments, SOutcome& outcome) {
  if (arguments.user.empty()) throw CHostError("--user needs a name");
  CCacheDatabase database(arguments.database, EDatabaseNeed::Change);
  const std::int64_t edited = EditRecords(arguments.files, outcome, [&](const std::string& path) {
    return AssignRecord(database.Connection(), path, arguments.user);
  });
  PrintEdited(arguments.json, "assigned", edited);
}

}  // namespace

void DeleteRecordsOfFiles(const SDatabaseOptions& options, const std::vector<std::string>& files, bool dryRun,
                          bool json, SOutcome& outcome) {
  CCacheDatabase database(options, EDatabaseNeed::Change);
  const std::int64_t deleted = EditRecords(
      files, outcome, [&](const std::string& path) { return DeleteRecord(database.Connection(), path, dryRun); });
  PrintEdited(json, dryRun ? "would delete" : "deleted", deleted);
}

void AddHistoryAssignCommand(CCommand parent, SOutcome& outcome) {
  const auto arguments = std::make_shared<SAssignArguments>();
  CCommand command = AddVerb(parent, "assign", "Correct who acquired files that are recorded",
                             "qvthumbs history assign --user bert cells.ome.tif", arguments,
                             [&outcome](const SAssignArguments& given) { Assign(given, outcome); });
  AddRequired(command, "--user", &arguments->user, "Who acquired them", "NAME");
  AddRequired(command, "files", &arguments->files, "The files, which need not be there any more", "FILE").FileNames();
}

}  // namespace qvhost
