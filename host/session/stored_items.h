#pragma once

#include <cstddef>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "host/session/sqlite.h"

namespace qvhost {

// The parent of an item at the top: no item has this number. Items that other programs have stored under a parent that
// does not exist lie at the top, too.
constexpr int kStoredRoot = 0;

struct SStoredItem {
  int id = 0;
  int parentID = kStoredRoot;
  int flags = 0;
  std::string name;
};

// The tree of stored items as it was when this was made, read in one go through a read-only connection of the host's
// own: asking the service for the children of every item would go through the whole table for each of them. The table
// is described in docs/database.md. The constructor throws CHostError or SQLite::Exception.
class CStoredItems {
 public:
  explicit CStoredItems(const std::string& databasePath);

  const std::unordered_map<int, SStoredItem>& All() const noexcept { return m_items; }
  // Null for an unknown item, and for the top.
  const SStoredItem* Find(int storedID) const;
  // By name. Of kStoredRoot: those at the top.
  const std::vector<const SStoredItem*>& Children(int storedID) const;
  // True when `storedID` is `ancestorID` or lies below it.
  bool IsBelow(int storedID, int ancestorID) const;

 private:
  std::unordered_map<int, SStoredItem> m_items;
  std::unordered_map<int, std::vector<const SStoredItem*>> m_children;
};

// Walks what lies below an item in the order in which a tree is drawn, without recursion, because nothing limits the
// depth. Throws CHostError when it meets a cycle of parent links; from the top it meets all of them.
class CStoredTreeWalk {
 public:
  CStoredTreeWalk(const CStoredItems& items, int rootID) : m_items(items), m_root(rootID) { Enter(rootID); }

  // Goes to the next item; false at the end.
  bool Next();
  const SStoredItem& Item() const noexcept { return *m_item; }
  // 1 for the children of the root.
  std::size_t Depth() const noexcept { return m_depth; }
  // The branches in front of the item.
  std::string Branches() const;

 private:
  struct SLevel {
    const std::vector<const SStoredItem*>& children;
    std::size_t next = 0;
    bool IsDone() const noexcept { return next == children.size(); }
  };

  void Enter(int storedID);
  [[noreturn]] void ThrowCycle(int storedID) const;
  void CheckForCycles() const;

  const CStoredItems& m_items;
  const int m_root;
  std::vector<SLevel> m_levels;
  std::unordered_set<int> m_seen;
  const SStoredItem* m_item = nullptr;
  std::size_t m_depth = 0;
};

}  // namespace qvhost
