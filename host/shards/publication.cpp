#include "host/shards/publication.h"

#include "host/session/sqlite.h"

namespace qvhost {
namespace {

constexpr mode_t kReadOnly = 0444;

}  // namespace

CPublication::CPublication(const std::string& name)
    : m_database(name, "a published file stays as it is, so choose a new name") {
  // A thumbnail of 10 kB and its row lie in one page or two, which one request to a server brings.
  OpenConnection(FilePath(), SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE)
      .exec("PRAGMA page_size = 16384; CREATE TABLE first (x); DROP TABLE first");
}

void CPublication::Commit() { m_database.Commit(kReadOnly); }

}  // namespace qvhost
