#pragma once

#include <optional>

#include "host/find/fact_block.h"
#include "host/session/sqlite.h"

namespace qvhost {

// Reads and writes facts of single pictures in the index, whose numbers had better ascend: a block is read and written
// once then. Throws SQLite::Exception. One thread.
class CFactStore {
 public:
  explicit CFactStore(SQLite::Database& db);

  CFacts Read(std::int64_t picture) { return Load(picture).At(PlaceInBlock(picture)); }
  // Is in the index after Flush().
  void Write(std::int64_t picture, const CFacts& facts);
  void Flush();

 private:
  CFactBlock& Load(std::int64_t picture);

  SQLite::Statement m_read, m_write;
  std::optional<std::int64_t> m_number;  // of the block that is held
  CFactBlock m_block;
  bool m_isChanged = false;
};

}  // namespace qvhost
