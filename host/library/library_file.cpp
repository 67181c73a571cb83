#include "host/library/library_file.h"

#include <fmt/format.h>

#include <chrono>
#include <cmath>
#include <filesystem>

#include "host/host_error.h"
#include "system/qvstring.h"

namespace qvhost {
namespace {

// "QvLb", in the header of every library file.
constexpr std::int64_t kApplicationID = 0x51764C62;
constexpr double kUnixEpochJulianDay = 2440587.5;

CSqlite OpenFile(const std::string& path, bool create) {
  if (!create && !std::filesystem::exists(path)) {
    throw CHostError(fmt::format("there is no library {}; 'qvthumbs import --library' makes one", path));
  }
  return CSqlite(path, SQLITE_OPEN_READWRITE | (create ? SQLITE_OPEN_CREATE : 0));
}

double Now() {
  const std::chrono::duration<double> sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
  return kUnixEpochJulianDay + sinceEpoch.count() / 86400.0;
}

bool SameField(const std::string& a, const std::string& b) {
  return CQvStringUtils::EqualNoCase(CQvStringUtils::UTF8toW(a).Str(), CQvStringUtils::UTF8toW(b).Str());
}

}  // namespace

CLibraryFile::CLibraryFile(const std::string& path, bool create) : m_db(OpenFile(path, create)) {
  try {
    if (m_db.RunInt("PRAGMA application_id") == kApplicationID) return;
    if (create && m_db.RunInt("SELECT count(*) FROM sqlite_master") == 0) {
      CreateTables();
      return;
    }
  } catch (const CHostError& error) {
    throw CHostError(fmt::format("cannot use the library {}: {}", path, error.what()));
  }
  throw CHostError(fmt::format("{} is no image library; choose another --library FILE", path));
}

void CLibraryFile::CreateTables() {
  m_db.Run("PRAGMA journal_mode=WAL");
  CTransaction transaction(m_db);
  m_db.Run("CREATE TABLE records (id INTEGER PRIMARY KEY, name TEXT NOT NULL, source TEXT UNIQUE)");
  m_db.Run(
      "CREATE TABLE pictures (record INTEGER NOT NULL REFERENCES records (id), field TEXT NOT NULL, "
      "changed REAL NOT NULL, data BLOB NOT NULL, PRIMARY KEY (record, field))");
  m_db.Run(fmt::format("PRAGMA application_id = {}", kApplicationID).c_str());
  transaction.Commit();
}

std::vector<SLibraryPicture> CLibraryFile::List(const std::string& field) const {
  const std::lock_guard<std::mutex> lock(m_mutex);
  CStatement rows = m_db.Prepare(
      "SELECT pictures.record, pictures.field, records.name, pictures.changed FROM pictures "
      "JOIN records ON records.id = pictures.record ORDER BY pictures.record, pictures.field");
  std::vector<SLibraryPicture> list;
  while (rows.Step()) {
    if (!field.empty() && !SameField(rows.Text(1), field)) continue;
    list.push_back({static_cast<std::int32_t>(rows.Int(0)), rows.Text(1), rows.Text(2), rows.Double(3)});
  }
  return list;
}

std::optional<SLibraryPicture> CLibraryFile::FindPicture(std::int32_t record, const std::string& field) const {
  CStatement rows = m_db.Prepare(
      "SELECT pictures.record, pictures.field, records.name, pictures.changed FROM pictures "
      "JOIN records ON records.id = pictures.record WHERE pictures.record = ?1");
  rows.Bind(1, static_cast<std::int64_t>(record));
  while (rows.Step()) {
    if (!SameField(rows.Text(1), field)) continue;
    return SLibraryPicture{record, rows.Text(1), rows.Text(2), rows.Double(3)};
  }
  return std::nullopt;
}

std::optional<SLibraryPicture> CLibraryFile::Find(std::int32_t record, const std::string& field) const {
  const std::lock_guard<std::mutex> lock(m_mutex);
  return FindPicture(record, field);
}

bool CLibraryFile::HasRecord(std::int32_t record) const {
  const std::lock_guard<std::mutex> lock(m_mutex);
  CStatement row = m_db.Prepare("SELECT 1 FROM records WHERE id = ?1");
  return row.Bind(1, static_cast<std::int64_t>(record)).Step();
}

std::optional<std::string> CLibraryFile::Read(std::int32_t record, const std::string& field) const {
  const std::lock_guard<std::mutex> lock(m_mutex);
  const std::optional<SLibraryPicture> picture = FindPicture(record, field);
  if (!picture) return std::nullopt;
  CStatement row = m_db.Prepare("SELECT data FROM pictures WHERE record = ?1 AND field = ?2");
  if (!row.Bind(1, static_cast<std::int64_t>(record)).Bind(2, picture->field).Step()) return std::nullopt;
  return std::string(row.Blob(0));
}

std::int32_t CLibraryFile::RecordOfSource(const std::string& source, const std::string& name) {
  CStatement insert = m_db.Prepare("INSERT OR IGNORE INTO records (name, source) VALUES (?1, ?2)");
  insert.Bind(1, name).Bind(2, source).Step();
  CStatement row = m_db.Prepare("SELECT id FROM records WHERE source = ?1");
  row.Bind(1, source).Step();
  return static_cast<std::int32_t>(row.Int(0));
}

SStoredPicture CLibraryFile::Put(std::int32_t record, const std::string& field, const std::string& data) {
  const std::optional<SLibraryPicture> old = FindPicture(record, field);
  double changed = Now();
  if (old && changed <= old->changed) changed = std::nextafter(old->changed, HUGE_VAL);
  CStatement row =
      m_db.Prepare("INSERT OR REPLACE INTO pictures (record, field, changed, data) VALUES (?1, ?2, ?3, ?4)");
  const std::string& name = old ? old->field : field;
  row.Bind(1, static_cast<std::int64_t>(record)).Bind(2, name).Bind(3, changed);
  row.BindBlob(4, data.data(), data.size()).Step();
  return {record, old.has_value()};
}

SStoredPicture CLibraryFile::Store(std::int32_t record, const std::string& field, const std::string& data) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  CTransaction transaction(m_db);
  const SStoredPicture stored = Put(record, field, data);
  transaction.Commit();
  return stored;
}

SStoredPicture CLibraryFile::StoreSource(const std::string& source, const std::string& name, const std::string& field,
                                         const std::string& data) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  CTransaction transaction(m_db);
  const SStoredPicture stored = Put(RecordOfSource(source, name), field, data);
  transaction.Commit();
  return stored;
}

}  // namespace qvhost
