#include "host/session/view_mark.h"

#include <fmt/format.h>

namespace qvhost {
namespace {

// The first byte of a mark.
constexpr std::int64_t kMarkByte = 0x56;

bool HasTables(const SQLite::Database& db) {
  SQLite::Statement table(db, "SELECT 1 FROM sqlite_master WHERE type = 'table' LIMIT 1");
  return table.executeStep();
}

bool MayBeMarked(const SQLite::Database& db) { return ReadViewMark(db) == 0 && !HasTables(db); }

}  // namespace

std::int32_t ViewMark(const SQvImageView& view) {
  const std::string name = ViewName(view);
  if (name.empty()) return 0;
  // FNV-1a, folded to the 24 bits below the first byte.
  std::uint32_t hash = 2166136261u;
  for (const char c : name) hash = (hash ^ static_cast<std::uint8_t>(c)) * 16777619u;
  return static_cast<std::int32_t>(kMarkByte << 24 | ((hash >> 24 ^ hash) & 0xFFFFFF));
}

std::int32_t ReadViewMark(const SQLite::Database& db) {
  SQLite::Statement version(db, "PRAGMA main.user_version");
  const std::int64_t mark = version.executeStep() ? version.getColumn(0).getInt64() : 0;
  return mark >> 24 == kMarkByte ? static_cast<std::int32_t>(mark) : 0;
}

void MarkNewDatabase(const std::string& path, std::int32_t mark) {
  if (mark == 0) return;
  SQLite::Database db = OpenConnection(path, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
  if (!MayBeMarked(db)) return;
  SQLite::Transaction transaction(db, SQLite::TransactionBehavior::IMMEDIATE);
  if (!MayBeMarked(db)) return;  // another process was faster
  db.exec(fmt::format("PRAGMA user_version = {}", mark));
  transaction.commit();
}

}  // namespace qvhost
