#include "gnr_thumbnailcache/stored/subtree_deletion.h"

#include <algorithm>

#include "gnr_thumbnailcache/database/statement.h"
#include "system/qvstatus.h"

namespace {

// How deep the calls through the interface nest. Trees that people make are not as deep.
constexpr int kDeepestCall = 100;
// Without an index the search for an item's children walks the whole table. After so many rows the table is read once.
constexpr std::int64_t kMostScannedRows = 100'000;

thread_local CSubtreeDeletion* t_current = nullptr;

}  // namespace

CSubtreeDeletion::CSubtreeDeletion(sqlite3* db, IQvThumbnailCache& service) noexcept
    : m_db(db), m_service(service), m_outer(t_current) {
  t_current = this;
}

CSubtreeDeletion::~CSubtreeDeletion() { t_current = m_outer; }

CSubtreeDeletion* CSubtreeDeletion::Current(sqlite3* db) noexcept {
  return t_current && t_current->m_db == db ? t_current : nullptr;
}

std::int32_t CSubtreeDeletion::Delete(int storedID) {
  if (m_childless == storedID) {
    m_childless.reset();
    return DeleteRow(storedID);
  }
  if (!m_visited.insert(storedID).second) return kQvOk;
  std::vector<int> children = ReadChildren(storedID);
  if (m_depth < kDeepestCall) {
    ++m_depth;
    for (const int child : children) {
      if (!m_visited.contains(child)) m_service.DeleteStoredItem(child);
    }
    --m_depth;
  } else {
    DeleteBelow(std::move(children));
  }
  return DeleteRow(storedID);
}

// The same walk without nested calls: an item gets its turn when everything below it is gone.
void CSubtreeDeletion::DeleteBelow(std::vector<int> children) {
  struct SLevel {
    int storedID;
    std::vector<int> children;
    std::size_t next = 0;
  };
  std::vector<SLevel> path;
  path.push_back({0, std::move(children)});
  for (;;) {
    SLevel& level = path.back();
    if (level.next < level.children.size()) {
      const int child = level.children[level.next++];
      if (m_visited.insert(child).second) path.push_back({child, ReadChildren(child)});
      continue;
    }
    if (path.size() == 1) return;
    const int storedID = level.storedID;
    path.pop_back();
    GiveTurn(storedID);
  }
}

void CSubtreeDeletion::GiveTurn(int storedID) {
  m_childless = storedID;
  m_service.DeleteStoredItem(storedID);
  m_childless.reset();
}

std::int32_t CSubtreeDeletion::DeleteRow(int storedID) {
  CStatement statement(m_db, "DELETE FROM stored WHERE storedID = :SI");
  statement.BindInt(1, storedID);
  statement.Step();
  return statement.Finalize();
}

std::vector<int> CSubtreeDeletion::ReadChildren(int storedID) {
  std::vector<int> children;
  if (m_links || (m_scannedRows > kMostScannedRows && ReadLinks())) {
    const auto goesBefore = [](const SLink& link, std::int64_t parentID) { return link.parentID < parentID; };
    auto link = std::lower_bound(m_links->begin(), m_links->end(), storedID, goesBefore);
    for (; link != m_links->end() && link->parentID == storedID; ++link) children.push_back(link->storedID);
    return children;
  }
  CStatement statement(m_db, "SELECT storedID FROM stored WHERE storedParentID = :SP");
  statement.BindInt(1, storedID);
  while (statement.Step() == SQLITE_ROW) children.push_back(statement.GetInt(0));
  m_scannedRows += statement.CountScannedRows();
  return children;
}

// False when the table could not be read to its end.
bool CSubtreeDeletion::ReadLinks() {
  std::vector<SLink> links;
  CStatement statement(m_db, "SELECT storedID, storedParentID FROM stored WHERE typeof(storedParentID) = 'integer'");
  int result = SQLITE_ROW;
  while ((result = statement.Step()) == SQLITE_ROW) links.push_back({statement.GetInt64(1), statement.GetInt(0)});
  if (result != SQLITE_DONE) return false;
  std::stable_sort(links.begin(), links.end(), [](const SLink& a, const SLink& b) { return a.parentID < b.parentID; });
  m_links = std::move(links);
  return true;
}
