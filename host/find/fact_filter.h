#pragma once

#include <bitset>
#include <functional>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/find/fact_block.h"
#include "host/find/folding.h"
#include "host/find/picture_query.h"
#include "host/session/sqlite.h"

namespace qvhost {

// Tells which pictures have the facts that a query asks for. Each block of the index is looked at once at most. Throws
// SQLite::Exception. One thread.
class CFactFilter {
 public:
  // `db` is the index.
  CFactFilter(SQLite::Database& db, const CFolding& folding, const SPictureQuery& query);

  // Whether no facts are asked for.
  bool IsOpen() const noexcept { return m_conditions.empty(); }
  bool Meets(std::int64_t picture);
  // Hands over all that have them, ascending.
  void ForEach(const std::function<void(std::int64_t picture)>& take);

 private:
  using CPlaces = std::bitset<kPicturesOfBlock>;

  struct SCondition {
    EFact fact;
    std::int64_t least, most;
    // When there are any: the values that are wanted, ascending, between least and most.
    std::vector<std::int64_t> values;
  };

  void AddCounts(EFact fact, const SFactRange& range);
  void AddReals(EFact fact, const SFactRange& range);
  void AddNames(EFact fact, const char* sql, const std::string& text);
  CPlaces Look(std::string_view packed) const;

  SQLite::Database& m_db;
  SQLite::Statement m_read;
  std::vector<SCondition> m_conditions;
  std::unordered_map<std::int64_t, CPlaces> m_seen;  // by block
};

}  // namespace qvhost
