#include "host/library/library_file.h"

#include <fmt/format.h>

#include <cmath>
#include <filesystem>

#include "host/host_error.h"
#include "host/output/time_text.h"
#include "host/session/database_error.h"
#include "system/qvstring.h"

namespace qvhost {
namespace {

// "QvLb", in the header of every library file.
constexpr std::int64_t kApplicationID = 0x51764C62;

SQLite::Database OpenFile(const std::string& path, bool create) {
  if (!create && !std::filesystem::exists(path)) {
    throw CHostError(fmt::format("there is no library {}; 'qvthumbs import --library' makes one", path));
  }
  return OpenConnection(path, SQLite::OPEN_READWRITE | (create ? SQLite::OPEN_CREATE : 0));
}

bool SameField(const std::string& a, const std::string& b) {
  return CQvStringUtils::EqualNoCase(CQvStringUtils::UTF8toW(a).Str(), CQvStringUtils::UTF8toW(b).Str());
}

const std::string kPictureQuery =
    "SELECT pictures.record, pictures.field, records.name, pictures.changed FROM pictures "
    "JOIN records ON records.id = pictures.record";

SLibraryPicture PictureOfRow(const SQLite::Statement& row) {
  return {row.getColumn(0).getInt(), row.getColumn(1).getString(), row.getColumn(2).getString(),
          row.getColumn(3).getDouble()};
}

}  // namespace

CLibraryFile::CLibraryFile(const std::string& path, bool create) : m_db(OpenFile(path, create)) {
  SetLibraryInUse(path);
  try {
    if (m_db.execAndGet("PRAGMA application_id").getInt64() == kApplicationID) return;
    if (create && m_db.execAndGet("SELECT count(*) FROM sqlite_master").getInt64() == 0) {
      CreateTables();
      return;
    }
  } catch (const SQLite::Exception& error) {
    throw CHostError(fmt::format("cannot use the library {}: {}", path, ErrorText(error)));
  }
  throw CHostError(fmt::format("{} is no image library; choose another --library FILE", path));
}

void CLibraryFile::CreateTables() {
  m_db.exec("PRAGMA journal_mode=WAL");
  SQLite::Transaction transaction(m_db, SQLite::TransactionBehavior::IMMEDIATE);
  m_db.exec("CREATE TABLE records (id INTEGER PRIMARY KEY, name TEXT NOT NULL, source TEXT UNIQUE)");
  m_db.exec(
      "CREATE TABLE pictures (record INTEGER NOT NULL REFERENCES records (id), field TEXT NOT NULL, "
      "changed REAL NOT NULL, data BLOB NOT NULL, PRIMARY KEY (record, field))");
  m_db.exec(fmt::format("PRAGMA application_id = {}", kApplicationID));
  transaction.commit();
}

std::vector<SLibraryPicture> CLibraryFile::List(const std::string& field) const {
  const std::lock_guard<std::mutex> lock(m_mutex);
  SQLite::Statement rows(m_db, kPictureQuery + " ORDER BY pictures.record, pictures.field");
  std::vector<SLibraryPicture> list;
  while (rows.executeStep()) {
    SLibraryPicture picture = PictureOfRow(rows);
    if (field.empty() || SameField(picture.field, field)) list.push_back(std::move(picture));
  }
  return list;
}

std::optional<SLibraryPicture> CLibraryFile::FindPicture(std::int32_t record, const std::string& field) const {
  SQLite::Statement rows(m_db, kPictureQuery + " WHERE pictures.record = ?1");
  rows.bind(1, record);
  while (rows.executeStep()) {
    SLibraryPicture picture = PictureOfRow(rows);
    if (SameField(picture.field, field)) return picture;
  }
  return std::nullopt;
}

std::optional<SLibraryPicture> CLibraryFile::Find(std::int32_t record, const std::string& field) const {
  const std::lock_guard<std::mutex> lock(m_mutex);
  return FindPicture(record, field);
}

bool CLibraryFile::HasRecord(std::int32_t record) const {
  const std::lock_guard<std::mutex> lock(m_mutex);
  SQLite::Statement row(m_db, "SELECT 1 FROM records WHERE id = ?1");
  row.bind(1, record);
  return row.executeStep();
}

std::optional<std::string> CLibraryFile::Read(std::int32_t record, const std::string& field) const {
  const std::lock_guard<std::mutex> lock(m_mutex);
  const std::optional<SLibraryPicture> picture = FindPicture(record, field);
  if (!picture) return std::nullopt;
  SQLite::Statement row(m_db, "SELECT data FROM pictures WHERE record = ?1 AND field = ?2");
  SQLite::bind(row, record, picture->field);
  if (!row.executeStep()) return std::nullopt;
  return row.getColumn(0).getString();
}

std::int32_t CLibraryFile::RecordOfSource(const std::string& source, const std::string& name) {
  SQLite::Statement insert(m_db, "INSERT OR IGNORE INTO records (name, source) VALUES (?1, ?2)");
  SQLite::bind(insert, name, source);
  insert.exec();
  SQLite::Statement row(m_db, "SELECT id FROM records WHERE source = ?1");
  row.bind(1, source);
  row.executeStep();
  return row.getColumn(0).getInt();
}

SImportedPicture CLibraryFile::Put(std::int32_t record, const std::string& field, const std::string& data) {
  const std::optional<SLibraryPicture> old = FindPicture(record, field);
  double changed = JulianDayNow();
  if (old && changed <= old->changed) changed = std::nextafter(old->changed, HUGE_VAL);
  SQLite::Statement row(m_db, "INSERT OR REPLACE INTO pictures (record, field, changed, data) VALUES (?1, ?2, ?3, ?4)");
  SQLite::bind(row, record, old ? old->field : field, changed);
  row.bindNoCopy(4, data.data(), static_cast<int>(data.size()));  // a file above 1 GB is refused before
  row.exec();
  return {record, old.has_value()};
}

SImportedPicture CLibraryFile::Store(std::int32_t record, const std::string& field, const std::string& data) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  SQLite::Transaction transaction(m_db, SQLite::TransactionBehavior::IMMEDIATE);
  const SImportedPicture stored = Put(record, field, data);
  transaction.commit();
  return stored;
}

SImportedPicture CLibraryFile::StoreSource(const std::string& source, const std::string& name, const std::string& field,
                                           const std::string& data) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  SQLite::Transaction transaction(m_db, SQLite::TransactionBehavior::IMMEDIATE);
  const SImportedPicture stored = Put(RecordOfSource(source, name), field, data);
  transaction.commit();
  return stored;
}

}  // namespace qvhost
