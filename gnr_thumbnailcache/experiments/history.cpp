#include "gnr_thumbnailcache/experiments/history.h"

#include "gnr_thumbnailcache/database/statement.h"
#include "system/qvstatus.h"

namespace {

constexpr SWriteMessages kUpdateMessages = {{L"THUMBCACHE: WriteHistory - sqlite3_step failed: ", __LINE__},
                                            {L"THUMBCACHE: WriteHistory - sqlite3_finalize failed: ", __LINE__}};
constexpr SWriteMessages kInsertMessages = {messages::kInsertHistoryStepFailed, messages::kInsertHistoryFinalizeFailed};

struct SHistoryRow {
  CQvStringA filename;
  CQvStringA userID;
  double acqTime;
  std::int32_t experimentID;
};

// Finds the experiment of a file's row of this user. The statement that found one is left to the connection, but reset:
// one in the middle of reading would keep other processes from writing.
bool FindRow(sqlite3* db, SHistoryRow* row) {
  CStatement statement(db, "SELECT experimentID FROM history WHERE filename = :FN AND userID = :UI");
  statement.BindText(1, row->filename);
  statement.BindText(2, row->userID);
  if (statement.Step() != SQLITE_ROW) return false;
  row->experimentID = statement.GetInt(0);
  statement.ResetAndLeave();
  return true;
}

void UpdateRow(sqlite3* db, const SHistoryRow& row) {
  CStatement statement(db,
                       "UPDATE history SET M_acqTime = :AT, experimentID = :EI WHERE filename = :FN AND userID = :UI");
  statement.BindDouble(1, row.acqTime);
  statement.BindInt(2, row.experimentID);
  statement.BindText(3, row.filename);
  statement.BindText(4, row.userID);
  RunAndReport(db, statement, kUpdateMessages);
}

std::int32_t InsertRow(sqlite3* db, const SHistoryRow& row) {
  CStatement statement(db,
                       "INSERT INTO history (filename, userID, M_acqTime, experimentID) VALUES (:FN, :UI, :AT, :EI)");
  statement.BindText(1, row.filename);
  statement.BindText(2, row.userID);
  statement.BindDouble(3, row.acqTime);
  statement.BindInt(4, row.experimentID);
  return RunAndReport(db, statement, kInsertMessages);
}

std::int32_t ReadEarliest(sqlite3* db, std::vector<int>* experimentIDs, std::vector<double>* acqTimes) {
  CStatement statement(db, "SELECT MIN(M_acqTime)  FROM history");
  while (statement.Step() == SQLITE_ROW) {
    experimentIDs->push_back(-1);
    acqTimes->push_back(statement.GetDouble(0));
  }
  return statement.Finalize();
}

void DeleteExperiment(sqlite3* db, int experimentID) {
  CStatement statement(db, "DELETE FROM experiments WHERE experimentID = :EI");
  statement.BindInt(1, experimentID);
  statement.Step();
}

// The experiment goes with the last row that refers to it. It stays when such rows could not be looked for.
std::int32_t DeleteUnreferredExperiment(sqlite3* db, int experimentID) {
  CStatement statement(db, "SELECT M_acqTime FROM history WHERE experimentID = :EI");
  statement.BindInt(1, experimentID);
  const int found = statement.Step();
  const int result = statement.Finalize();
  if (found == SQLITE_ROW) return result;
  if (found != SQLITE_DONE) return result ? result : kQvFailure;
  DeleteExperiment(db, experimentID);
  return kQvOk;
}

}  // namespace

std::int32_t WriteHistory(sqlite3* db, const wchar_t* filename, const wchar_t* userID, double acqTime,
                          int experimentID) {
  if (!filename) return kQvFailure;
  if (!db) return kQvOk;
  SHistoryRow row{CQvStringUtils::WtoUTF8(filename), CQvStringUtils::WtoUTF8(userID), acqTime, experimentID};
  if (!FindRow(db, &row)) return InsertRow(db, row);
  UpdateRow(db, row);
  return kQvOk;
}

std::int32_t ReadHistory(sqlite3* db, const wchar_t* userID, double acqFrom, double acqTo,
                         std::vector<int>* experimentIDs, std::vector<double>* acqTimes,
                         std::vector<CQvStringW>* filenames) {
  const bool earliest = acqFrom == -1.0 && acqTo == -1.0;
  if (!db || !experimentIDs || !acqTimes || (!filenames && !earliest)) return kQvFailure;
  experimentIDs->clear();
  if (earliest) return ReadEarliest(db, experimentIDs, acqTimes);
  CStatement statement(db,
                       "SELECT experimentID, M_acqTime, filename FROM history "
                       "WHERE userID = :UI AND M_acqTime >= :AF AND M_acqTime < :AT");
  statement.BindText(1, CQvStringUtils::WtoUTF8(userID));
  statement.BindDouble(2, acqFrom);
  statement.BindDouble(3, acqTo);
  while (statement.Step() == SQLITE_ROW) {
    experimentIDs->push_back(statement.GetInt(0));
    acqTimes->push_back(statement.GetDouble(1));
    filenames->push_back(statement.GetText(2));
  }
  return statement.Finalize();
}

std::int32_t GetHistoryFilenames(sqlite3* db, const wchar_t* userID, int experimentID, double acqFrom, double acqTo,
                                 std::vector<CQvStringW>* filenames) {
  if (!db || !filenames) return kQvFailure;
  filenames->clear();
  CStatement statement(db,
                       "SELECT filename FROM history WHERE userID = :UI AND experimentID = :EI "
                       "AND M_acqTime >= :AF AND M_acqTime < :AT");
  statement.BindText(1, CQvStringUtils::WtoUTF8(userID));
  statement.BindInt(2, experimentID);
  statement.BindDouble(3, acqFrom);
  statement.BindDouble(4, acqTo);
  while (statement.Step() == SQLITE_ROW) filenames->push_back(statement.GetText(0));
  return statement.Finalize();
}

std::int32_t DeleteHistory(sqlite3* db, double acqFrom, double acqTo, int experimentID) {
  if (!db) return kQvFailure;
  CStatement statement(db, "DELETE FROM history WHERE experimentID = :EI AND M_acqTime >= :AF AND M_acqTime < :AT");
  statement.BindInt(1, experimentID);
  statement.BindDouble(2, acqFrom);
  statement.BindDouble(3, acqTo);
  if (statement.Step() != SQLITE_DONE) {
    statement.ResetAndLeave();
    return kQvFailure;
  }
  statement.Finalize();
  return DeleteUnreferredExperiment(db, experimentID);
}
