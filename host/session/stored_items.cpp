#include "host/session/stored_items.h"

#include <fmt/format.h>

#include <algorithm>
#include <tuple>

#include "host/host_error.h"

namespace qvhost {

CStoredItems::CStoredItems(const std::string& databasePath) {
  const SQLite::Database db = OpenForReading(databasePath);
  SQLite::Statement rows(db, "SELECT storedID, storedParentID, flags, filename FROM stored");
  while (rows.executeStep()) {
    const int id = rows.getColumn(0).getInt();
    m_items[id] = {id, rows.getColumn(1).getInt(), rows.getColumn(2).getInt(), rows.getColumn(3).getString()};
  }
  for (const auto& [id, item] : m_items) {
    m_children[m_items.count(item.parentID) ? item.parentID : kStoredRoot].push_back(&item);
  }
  for (auto& [id, children] : m_children) {
    std::sort(children.begin(), children.end(), [](const SStoredItem* a, const SStoredItem* b) {
      return std::tie(a->name, a->id) < std::tie(b->name, b->id);
    });
  }
}

const SStoredItem* CStoredItems::Find(int storedID) const {
  const auto found = m_items.find(storedID);
  return found == m_items.end() ? nullptr : &found->second;
}

const std::vector<const SStoredItem*>& CStoredItems::Children(int storedID) const {
  static const std::vector<const SStoredItem*> kNone;
  const auto found = m_children.find(storedID);
  return found == m_children.end() ? kNone : found->second;
}

bool CStoredItems::IsBelow(int storedID, int ancestorID) const {
  std::unordered_set<int> seen;
  for (const SStoredItem* item = Find(storedID); item && seen.insert(item->id).second; item = Find(item->parentID)) {
    if (item->id == ancestorID) return true;
  }
  return false;
}

void CStoredTreeWalk::ThrowCycle(int storedID) const {
  throw CHostError(fmt::format(
      "the stored items form a circle at item {0}; 'qvthumbs stored update {0} --parent 0' opens it", storedID));
}

void CStoredTreeWalk::Enter(int storedID) {
  if (!m_seen.insert(storedID).second) ThrowCycle(storedID);
  m_levels.push_back({m_items.Children(storedID)});
}

// Nothing leads from the top to a cycle, nor to what hangs from it; from there the parents lead into it.
void CStoredTreeWalk::CheckForCycles() const {
  if (m_root != kStoredRoot) return;
  for (const auto& [id, item] : m_items.All()) {
    if (m_seen.count(id) != 0) continue;
    std::unordered_set<int> passed;
    int parentID = id;
    while (passed.insert(parentID).second) parentID = m_items.Find(parentID)->parentID;
    ThrowCycle(parentID);
  }
}

bool CStoredTreeWalk::Next() {
  while (!m_levels.empty() && m_levels.back().IsDone()) m_levels.pop_back();
  if (m_levels.empty()) {
    CheckForCycles();
    return false;
  }
  SLevel& level = m_levels.back();
  m_item = level.children[level.next++];
  m_depth = m_levels.size();
  Enter(m_item->id);
  return true;
}

std::string CStoredTreeWalk::Branches() const {
  std::string lines;
  for (std::size_t i = 0; i + 1 < m_depth; ++i) lines += m_levels[i].IsDone() ? "   " : "│  ";
  return lines + (m_levels[m_depth - 1].IsDone() ? "└─ " : "├─ ");
}

}  // namespace qvhost
