#pragma once

#include <cstdint>
#include <string>

#include "host/session/sqlite.h"

namespace qvhost {

// The file in which a database's pictures are found by parts of their texts, beside it: DATABASE.find. It holds nothing
// that the database does not, and is made anew when it is gone, or of another version or database. One thread.
//
//   picture  a row for each picture that any table of the database knows: its location, and which rows tell of it
//   fact     the numbers of 256 pictures each, packed (fact_block.h)
//   doc      its texts, folded, and a line end; words has their trigrams, and sample some of these texts again
//   name     objectives and users, each once
//   seen     which rows of the database the index is made of
class CSearchIndex {
 public:
  // Opens the file, and makes it when missing, with the rights of the database. One of another version or database is
  // emptied. Throws CHostError when something else stands in its place, or SQLite::Exception.
  CSearchIndex(const std::string& path, const std::string& databasePath);

  // As long as one lives, the index has the memory that writing takes.
  class CUpdateMemory {
   public:
    explicit CUpdateMemory(CSearchIndex& index);
    CUpdateMemory(const CUpdateMemory&) = delete;
    CUpdateMemory& operator=(const CUpdateMemory&) = delete;
    ~CUpdateMemory();

   private:
    SQLite::Database& m_db;
  };

  SQLite::Database& Connection() noexcept { return m_db; }
  // What the index notes of itself; empty and 0 where it notes nothing.
  std::string Note(const char* name) const;
  std::int64_t NumberNote(const char* name) const;
  void SetNote(const char* name, const std::string& value);
  void SetNote(const char* name, std::int64_t value) { SetNote(name, std::to_string(value)); }

 private:
  bool IsUsable(const std::string& database) const;
  void DropTables();
  void SetPageSize(const std::string& database);
  void MakeTables(const std::string& database);

  SQLite::Database m_db;
};

// The path of a database's index.
std::string SearchIndexPath(const std::string& databasePath);
// Removes an index that is damaged. Does nothing when something else stands there.
void RemoveSearchIndex(const std::string& path);

}  // namespace qvhost
