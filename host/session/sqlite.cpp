#include "host/session/sqlite.h"

#include <fmt/format.h>

#include "host/host_error.h"

namespace qvhost {
namespace {

constexpr int kBusyMilliseconds = 5000;

}  // namespace

SQLite::Database OpenConnection(const std::string& path, int flags) {
  try {
    return SQLite::Database(path, flags, kBusyMilliseconds);
  } catch (const SQLite::Exception& error) {
    throw CHostError(fmt::format("cannot open {}: {}", path, error.what()));
  }
}

SQLite::Database OpenForReading(const std::string& path) {
  SQLite::Database db = OpenConnection(path, SQLite::OPEN_READWRITE);
  db.exec("PRAGMA query_only=ON");
  return db;
}

std::string ErrorText(const std::exception& error) {
  const bool isSqlite = dynamic_cast<const SQLite::Exception*>(&error) != nullptr;
  return (isSqlite ? "the database says: " : "") + std::string(error.what());
}

}  // namespace qvhost
