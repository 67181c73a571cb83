#include "host/find/search_index.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "host/host_error.h"
#include "host/session/database_choice.h"
#include "host/session/file_rights.h"

namespace qvhost {
namespace {

namespace fs = std::filesystem;

// In the header of the file, where SQLite keeps it (PRAGMA application_id).
constexpr std::uint32_t kIndexID = 0x51764669;
constexpr std::size_t kIndexIDPlace = 68;
constexpr int kIndexVersion = 3;
// Bytes. Often a page is read for each picture that is found. From the file, since a mapping would cost the process
// when somebody cuts it.
constexpr int kPageSize = 8192;
// Kibibytes of pages that are kept. A search reads most pages once, and new memory costs as much as reading again.
constexpr int kSearchCache = 2048, kUpdateCache = 65536;

constexpr const char* kIndexTables = R"(
CREATE TABLE note (name TEXT PRIMARY KEY, value TEXT NOT NULL) WITHOUT ROWID;
CREATE TABLE picture (id INTEGER PRIMARY KEY, location TEXT NOT NULL UNIQUE, standardRow INTEGER, highRow INTEGER,
                      textRow INTEGER, historyRow INTEGER);
CREATE TABLE fact (block INTEGER PRIMARY KEY, packed BLOB NOT NULL);
CREATE TABLE name (id INTEGER PRIMARY KEY, text TEXT NOT NULL UNIQUE, folded TEXT NOT NULL);
CREATE TABLE seen (source INTEGER, row INTEGER, mark INTEGER NOT NULL, picture INTEGER NOT NULL,
                   PRIMARY KEY (source, row)) WITHOUT ROWID;
CREATE TABLE doc (id INTEGER PRIMARY KEY, text TEXT NOT NULL);
CREATE TABLE sample (id INTEGER PRIMARY KEY, text TEXT NOT NULL);
CREATE VIRTUAL TABLE words USING fts5(text, content='doc', content_rowid='id', tokenize='trigram', detail=none,
                                      columnsize=0);
)";

bool HasIndexHeader(const std::string& path) {
  std::array<unsigned char, kIndexIDPlace + 4> head{};
  std::ifstream file(path, std::ios::binary);
  if (!file.read(reinterpret_cast<char*>(head.data()), head.size())) return false;
  std::uint32_t id = 0;
  for (std::size_t i = 0; i < 4; ++i) id = id << 8 | head[kIndexIDPlace + i];
  return id == kIndexID;
}

// Nothing is there, or an index, or a file that was going to be one.
bool IsFreeForIndex(const std::string& path) {
  struct stat status;
  if (lstat(path.c_str(), &status) != 0) return errno == ENOENT;
  return S_ISREG(status.st_mode) && status.st_nlink == 1 && (status.st_size == 0 || HasIndexHeader(path));
}

// Whoever may read the database may read this, and nobody else: the names of files, samples and users stand in it.
void CreateWithRightsOf(const std::string& path, const std::string& databasePath) {
  struct stat database;
  if (stat(databasePath.c_str(), &database) != 0) return;
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
  if (file < 0) {
    if (errno == EEXIST) return;
    throw CHostError(fmt::format("{} cannot be made: {}", path, std::strerror(errno)));
  }
  const bool done = fchmod(file, ShareLike(database, file)) == 0;
  close(file);
  if (!done) throw CHostError(fmt::format("{} cannot be given its rights", path));
}

// Another file under the same name is another database, and everything in the index may be different.
std::string IdentityOf(const std::string& databasePath) {
  struct stat status;
  if (stat(databasePath.c_str(), &status) != 0) return {};
  return fmt::format("{} {}", status.st_dev, status.st_ino);
}

}  // namespace

CSearchIndex::CSearchIndex(const std::string& path, const std::string& databasePath)
    : m_db([&] {
        if (!IsFreeForIndex(path)) throw CHostError(path + " is another program's file");
        CreateWithRightsOf(path, databasePath);
        return OpenConnection(path, SQLite::OPEN_READWRITE);
      }()) {
  m_db.exec(
      fmt::format("PRAGMA page_size = {}; PRAGMA cache_size = -{}; PRAGMA mmap_size = 0; PRAGMA synchronous = NORMAL",
                  kPageSize, kSearchCache));
  const std::string database = IdentityOf(databasePath);
  if (IsUsable(database)) return;
  SetPageSize(database);
  SQLite::Transaction transaction(m_db, SQLite::TransactionBehavior::IMMEDIATE);
  if (!IsUsable(database)) MakeTables(database);  // another process may have been faster
  transaction.commit();
}

bool CSearchIndex::IsUsable(const std::string& database) const {
  SQLite::Statement version(m_db, "PRAGMA user_version");
  return version.executeStep() && version.getColumn(0).getInt() == kIndexVersion && Note("database") == database;
}

void CSearchIndex::DropTables() {
  for (const char* table : {"words", "note", "picture", "fact", "name", "seen", "doc", "sample"}) {
    m_db.exec(fmt::format("DROP TABLE IF EXISTS {}", table));
  }
}

// That of a file that has pages changes only when it is written anew, which is done while it is empty.
void CSearchIndex::SetPageSize(const std::string& database) {
  if (m_db.execAndGet("PRAGMA page_size").getInt() == kPageSize) return;
  SQLite::Transaction transaction(m_db, SQLite::TransactionBehavior::IMMEDIATE);
  if (IsUsable(database)) return;
  DropTables();
  transaction.commit();
  m_db.exec(fmt::format("PRAGMA page_size = {}; VACUUM", kPageSize));
}

void CSearchIndex::MakeTables(const std::string& database) {
  DropTables();
  m_db.exec(kIndexTables);
  m_db.exec(fmt::format("PRAGMA application_id = {}; PRAGMA user_version = {}", kIndexID, kIndexVersion));
  SetNote("database", database);
}

std::string CSearchIndex::Note(const char* name) const {
  SQLite::Statement row(m_db, "SELECT value FROM note WHERE name = ?1");
  row.bind(1, name);
  return row.executeStep() ? row.getColumn(0).getString() : std::string();
}

std::int64_t CSearchIndex::NumberNote(const char* name) const {
  const std::string value = Note(name);
  return value.empty() ? 0 : std::stoll(value);
}

void CSearchIndex::SetNote(const char* name, const std::string& value) {
  SQLite::Statement row(m_db, "INSERT OR REPLACE INTO note VALUES (?1, ?2)");
  SQLite::bind(row, name, value);
  row.exec();
}

CSearchIndex::CUpdateMemory::CUpdateMemory(CSearchIndex& index) : m_db(index.m_db) {
  m_db.exec(fmt::format("PRAGMA cache_size = -{}", kUpdateCache));
}

CSearchIndex::CUpdateMemory::~CUpdateMemory() {
  m_db.tryExec(fmt::format("PRAGMA cache_size = -{}; PRAGMA shrink_memory", kSearchCache));
}

std::string SearchIndexPath(const std::string& databasePath) { return RealDatabasePath(databasePath) + ".find"; }

void RemoveSearchIndex(const std::string& path) {
  if (!IsFreeForIndex(path)) return;
  std::error_code ignored;
  for (const char* tail : {"-journal", ""}) fs::remove(path + tail, ignored);
}

}  // namespace qvhost
