#include "gnr_thumbnailcache/stored/stored_items.h"

#include "gnr_thumbnailcache/database/statement.h"
#include "gnr_thumbnailcache/stored/subtree_deletion.h"
#include "system/qvstatus.h"

namespace {

constexpr SWriteMessages kInsertItemMessages = {messages::kInsertStoredItemStepFailed,
                                                messages::kInsertStoredItemFinalizeFailed};

struct SStoredItem {
  std::int32_t flags;
  CQvStringW filename;
  std::int32_t parentID;
};

bool ReadItem(sqlite3* db, int storedID, SStoredItem* item) {
  CStatement statement(db, "SELECT flags, filename, storedParentID FROM stored WHERE storedID = :SI");
  statement.BindInt(1, storedID);
  if (statement.Step() != SQLITE_ROW) return false;
  *item = {statement.GetInt(0), statement.GetText(1), statement.GetInt(2)};
  return true;
}

}  // namespace

std::int32_t InsertStoredItem(sqlite3* db, int parentID, const wchar_t* filename, int flags, int* newStoredID) {
  if (!filename) return kQvFailure;
  if (!db) return kQvOk;
  CStatement statement(db, "INSERT INTO stored (storedParentID, filename, flags) VALUES (:SP, :FN, :FL)");
  statement.BindInt(1, parentID);
  statement.BindText(2, CQvStringUtils::WtoUTF8(filename));
  statement.BindInt(3, flags);
  return RunAndReport(db, statement, kInsertItemMessages, newStoredID);
}

std::int32_t UpdateStoredItem(sqlite3* db, int storedID, int parentID, const wchar_t* filename, int flags) {
  SStoredItem item;
  if (!ReadItem(db, storedID, &item)) return kQvFailure;
  if (item.flags == flags && !(item.filename != filename) && item.parentID == parentID) return kQvOk;
  CStatement statement(db, "UPDATE stored SET flags = :FL, filename = :FN, storedParentID = :SP WHERE storedID = :SI");
  statement.BindInt(1, flags);
  statement.BindText(2, CQvStringUtils::WtoUTF8(filename));
  statement.BindInt(3, parentID);
  statement.BindInt(4, storedID);
  if (StepAndReport(db, statement, messages::kUpdateStoredItemFailed) == SQLITE_DONE) {
    statement.Leave();
  } else {
    statement.ResetAndLeave();
  }
  return kQvOk;
}

std::int32_t GetStoredChildren(sqlite3* db, int parentID, std::vector<int>* ids, std::vector<CQvStringW>* filenames) {
  if (!db || !ids || !filenames) return kQvFailure;
  ids->clear();
  filenames->clear();
  CStatement statement(db, "SELECT storedID, filename FROM stored WHERE storedParentID = :SP");
  statement.BindInt(1, parentID);
  while (statement.Step() == SQLITE_ROW) {
    ids->push_back(statement.GetInt(0));
    filenames->push_back(statement.GetText(1));
  }
  return statement.Finalize();
}

std::int32_t DeleteStoredItem(sqlite3* db, IQvThumbnailCache& service, int storedID) {
  if (!db) return kQvFailure;
  if (CSubtreeDeletion* current = CSubtreeDeletion::Current(db)) return current->Delete(storedID);
  return CSubtreeDeletion(db, service).Delete(storedID);
}
