#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>

#include "host/find/fact_store.h"
#include "host/find/folding.h"
#include "host/find/known_rows.h"
#include "host/find/search_index.h"

namespace qvhost {

// Writes what the index says of pictures, from the rows of the database that tell of them. One thread.
class CPictureWriter {
 public:
  CPictureWriter(CSearchIndex& index, const CKnownRows& rows, const CFolding& folding);

  // Writes a picture anew; one of which no row tells any more is removed.
  void Write(std::int64_t picture);
  // Must come last. Notes how many pictures there are now. When `written`, those of them that were written, are most of
  // them, the words are put in order for faster searches.
  void Finish(std::size_t written);

 private:
  void WriteText(std::int64_t picture, const std::optional<std::string>& text);
  void WriteFacts(std::int64_t picture, const std::optional<STextInfo>& info,
                  const std::optional<SKnownRecord>& record);
  std::int64_t NameID(const std::string& name);
  void Remove(std::int64_t picture);

  CSearchIndex& m_index;
  SQLite::Database& m_db;
  const CKnownRows& m_rows;
  const CFolding& m_fold;
  CFactStore m_facts;
  SQLite::Statement m_picture, m_oldText, m_removeWords, m_addWords, m_writeText, m_writeSample;
  std::int64_t m_added = 0;  // pictures, less those that were removed
  std::unordered_map<std::string, std::int64_t> m_names;
};

}  // namespace qvhost
