#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <optional>
#include <unordered_set>
#include <vector>

#include "thumbnailcache/iqvthumbnailcache.h"

// The deletion of one item with everything below it, while it goes on: each item's turn comes through the interface of
// the service, whose operation calls Delete again. Whatever the links are like, circles included, every item is visited
// once, the calls nest to a fixed depth only, and the time grows with the number of items.
class CSubtreeDeletion {
 public:
  // Becomes the thread's deletion until it goes.
  CSubtreeDeletion(sqlite3* db, IQvThumbnailCache& service) noexcept;
  CSubtreeDeletion(const CSubtreeDeletion&) = delete;
  CSubtreeDeletion& operator=(const CSubtreeDeletion&) = delete;
  ~CSubtreeDeletion();

  // The one under way on this thread on that connection, or null.
  static CSubtreeDeletion* Current(sqlite3* db) noexcept;

  // Deletes what lies below the item, then the item. The result of finalizing its own DELETE; 0 for an item that had
  // its turn.
  std::int32_t Delete(int storedID);

 private:
  struct SLink {
    std::int64_t parentID;
    int storedID;
  };

  void DeleteBelow(std::vector<int> children);
  void GiveTurn(int storedID);
  std::int32_t DeleteRow(int storedID);
  std::vector<int> ReadChildren(int storedID);
  bool ReadLinks();

  sqlite3* m_db;
  IQvThumbnailCache& m_service;
  CSubtreeDeletion* m_outer;
  int m_depth = 0;
  std::unordered_set<int> m_visited;
  // An item whose turn it is and that has nothing below it any more.
  std::optional<int> m_childless;
  // Rows that were looked at in search of children.
  std::int64_t m_scannedRows = 0;
  // All items by their parents, once looking for the children of each one would take too long.
  std::optional<std::vector<SLink>> m_links;
};
