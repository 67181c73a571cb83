#include "gnr_thumbnailcache/guarded.h"
#include "gnr_thumbnailcache/statement.h"
#include "gnr_thumbnailcache/thumbnailcache_impl.h"
#include "system/qvstatus.h"

namespace {

constexpr SQvWriteReport kInsertReport = {L"THUMBCACHE: WriteExperiment - sqlite3_step failed: ", 1836,
                                          L"THUMBCACHE: WriteExperiment - sqlite3_finalize failed: ", 1842};
constexpr SQvWriteReport kUpdateReport = {L"THUMBCACHE: WriteExperiment - sqlite3_step failed: ", 1800, nullptr, 0};

struct SStoredItem {
  std::int32_t flags;
  CQvStringW filename;
  std::int32_t parentID;
};

bool ReadItem(sqlite3* db, int storedID, SStoredItem* item) {
  CQvStatement statement(db, "SELECT flags, filename, storedParentID FROM stored WHERE storedID = :SI");
  statement.BindInt(1, storedID);
  if (statement.Step() != SQLITE_ROW) return false;
  *item = {statement.GetInt(0), statement.GetText(1), statement.GetInt(2)};
  return true;
}

std::vector<int> ReadChildIDs(sqlite3* db, int storedID) {
  std::vector<int> ids;
  CQvStatement statement(db, "SELECT storedID FROM stored WHERE storedParentID = :SP");
  statement.BindInt(1, storedID);
  while (statement.Step() == SQLITE_ROW) ids.push_back(statement.GetInt(0));
  return ids;
}

}  // namespace

std::int32_t CQvThumbnailCacheImpl::InsertStoredItem(int parentID, const wchar_t* filename, int flags,
                                                     int* newStoredID) {
  return Guarded<std::int32_t>(kQvFailure, [&] {
    if (!filename) return kQvFailure;
    sqlite3* db = GetDatabase();
    if (!db) return kQvOk;
    CQvStatement statement(db, "INSERT INTO stored (storedParentID, filename, flags) VALUES (:SP, :FN, :FL)");
    statement.BindInt(1, parentID);
    statement.BindText(2, CQvStringUtils::WtoUTF8(filename));
    statement.BindInt(3, flags);
    return RunAndReport(db, statement, kInsertReport, newStoredID);
  });
}

std::int32_t CQvThumbnailCacheImpl::UpdateStoredItem(int storedID, int parentID, const wchar_t* filename, int flags) {
  return Guarded(kQvFailure, [&] {
    sqlite3* db = GetDatabase();
    SStoredItem item;
    if (!ReadItem(db, storedID, &item)) return kQvFailure;
    if (item.flags == flags && !(item.filename != filename) && item.parentID == parentID) return kQvOk;
    CQvStatement statement(db,
                           "UPDATE stored SET flags = :FL, filename = :FN, storedParentID = :SP WHERE storedID = :SI");
    statement.BindInt(1, flags);
    statement.BindText(2, CQvStringUtils::WtoUTF8(filename));
    statement.BindInt(3, parentID);
    statement.BindInt(4, storedID);
    StepAndReport(db, statement, kUpdateReport);
    statement.Leave();
    return kQvOk;
  });
}

std::int32_t CQvThumbnailCacheImpl::GetStoredChildren(int parentID, std::vector<int>* ids,
                                                      std::vector<CQvStringW>* filenames) {
  return Guarded<std::int32_t>(kQvFailure, [&] {
    sqlite3* db = GetDatabase();
    if (!db || !ids || !filenames) return kQvFailure;
    ids->clear();
    filenames->clear();
    CQvStatement statement(db, "SELECT storedID, filename FROM stored WHERE storedParentID = :SP");
    statement.BindInt(1, parentID);
    while (statement.Step() == SQLITE_ROW) {
      ids->push_back(statement.GetInt(0));
      filenames->push_back(statement.GetText(1));
    }
    return statement.Finalize();
  });
}

// Children go before their parent, each through the interface, and no statement is open meanwhile.
std::int32_t CQvThumbnailCacheImpl::DeleteStoredItem(int storedID) {
  return Guarded<std::int32_t>(kQvFailure, [&] {
    sqlite3* db = GetDatabase();
    if (!db) return kQvFailure;
    IQvThumbnailCache* self = this;
    for (const int childID : ReadChildIDs(db, storedID)) self->DeleteStoredItem(childID);
    CQvStatement statement(db, "DELETE FROM stored WHERE storedID = :SI");
    statement.BindInt(1, storedID);
    statement.Step();
    return statement.Finalize();
  });
}
