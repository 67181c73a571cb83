#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "host/find/known_rows.h"
#include "host/find/search_index.h"

namespace qvhost {

// What a Ctrl-C says while an index is brought up to date.
constexpr const char* kIndexingInterrupted = "interrupted; the search is prepared again the next time";

// Finds out which rows of the database have come, gone or changed since the index was made of them, and notes in the
// index which rows tell of which picture now. Inside a transaction of the index. One thread.
class CRowComparison {
 public:
  CRowComparison(CSearchIndex& index, const CKnownRows& rows);

  // Throws SQLite::Exception, or CHostError when interrupted.
  void Compare(EKnownTable table);

  // Of all tables so far, each once, ascending.
  std::vector<std::int64_t> TakeChangedPictures();

 private:
  struct SPicture {
    std::int64_t id = 0;
    std::int64_t rowBefore = 0;  // that told the same of it; 0: none
  };

  std::int64_t FirstOfTail(EKnownTable table);
  void CompareFrom(EKnownTable table, std::int64_t first, std::int64_t* count);
  SPicture PictureOf(const SKnownRow& row);
  // How many rows there are more than before.
  int Add(EKnownTable table, const SKnownRow& row);
  void Remove(EKnownTable table, std::int64_t row);

  CSearchIndex& m_index;
  SQLite::Database& m_db;
  const CKnownRows& m_rows;
  SQLite::Statement m_find, m_addPicture, m_addRow, m_removeRow, m_forget;
  std::array<std::optional<SQLite::Statement>, 4> m_refer;
  std::vector<std::int64_t> m_changed;
};

}  // namespace qvhost
