#include "host/find/known_rows.h"

#include <fmt/format.h>

#include <array>
#include <string_view>
#include <vector>

#include "host/files/image_file.h"
#include "host/session/database_form.h"
#include "host/session/stored_name.h"

namespace qvhost {
namespace {

constexpr std::int64_t kRowsAtOnce = 20000;

// 64 bits of FNV-1a.
class CMark {
 public:
  void Add(std::string_view bytes) {
    for (const char byte : bytes) AddByte(static_cast<unsigned char>(byte));
    AddByte(0);
  }
  std::int64_t Get() const { return static_cast<std::int64_t>(m_hash); }

 private:
  void AddByte(unsigned char byte) { m_hash = (m_hash ^ byte) * 1099511628211u; }
  std::uint64_t m_hash = 14695981039346656037u;
};

struct STableQuery {
  const char* name;
  const char* columns;  // the file's name, and what changes with the row
  std::string (*toLocation)(const std::string& name);
  EKnownKind kind;
};

std::string Lowered(const CQvStringW& name) {
  return CQvStringUtils::WtoUTF8(SQvThumbnailDescription::LowerCase(name)).Str();
}

const STableQuery& QueryOf(EKnownTable table) {
  static const std::array<STableQuery, 3> queries = {
      {{"cache", "filename, flags", [](const std::string& name) { return name; }, EKnownKind::StandardThumbnail},
       {"metadata", "filename, lastWritten, M_fileSize",
        [](const std::string& name) { return Lowered(NameOfUtf16Row(name)); }, EKnownKind::Texts},
       {"history", "filename, userID, M_acqTime, experimentID",
        [](const std::string& name) { return Lowered(CQvStringUtils::UTF8toW(name)); }, EKnownKind::Record}}};
  return queries[static_cast<std::size_t>(table)];
}

// Rows of `cache` carry the pictures, so all of them are read from the key's index instead, where they stand by name.
class CRowReader {
 public:
  CRowReader(const SQLite::Database& db, EKnownTable table, std::int64_t first)
      : m_query(QueryOf(table)),
        m_isByName(table == EKnownTable::Cache && first <= 0),
        m_next(first),
        m_rows(db, Sql()) {}

  // False when these were the last ones.
  bool ReadSome(std::vector<SKnownRow>* rows) {
    rows->clear();
    if (m_isByName) {
      SQLite::bind(m_rows, m_name, m_flags);
    } else {
      m_rows.bind(1, m_next);
    }
    m_rows.bind(3, kRowsAtOnce);
    while (m_rows.executeStep()) rows->push_back(Take());
    m_rows.reset();
    return static_cast<std::int64_t>(rows->size()) == kRowsAtOnce;
  }

 private:
  std::string Sql() const {
    return fmt::format(
        "SELECT rowid, {} FROM {} WHERE {} LIMIT ?3", m_query.columns, m_query.name,
        m_isByName ? "(filename, flags) > (?1, ?2) ORDER BY filename, flags" : "rowid >= ?1 ORDER BY rowid");
  }

  SKnownRow Take() {
    SKnownRow row;
    row.row = m_rows.getColumn(0).getInt64();
    m_next = row.row + 1;
    m_name = m_rows.getColumn(1).getString();
    CMark mark;
    for (int column = 1; column < m_rows.getColumnCount(); ++column) mark.Add(m_rows.getColumn(column).getString());
    row.mark = mark.Get();
    row.location = m_query.toLocation(m_name);
    row.kind = m_query.kind;
    if (row.kind != EKnownKind::StandardThumbnail) return row;
    m_flags = m_rows.getColumn(2).getInt64();
    if (m_flags != 0) row.kind = EKnownKind::HighThumbnail;
    return row;
  }

  const STableQuery& m_query;
  const bool m_isByName;
  std::int64_t m_next;
  std::string m_name;
  std::int64_t m_flags = -1;
  SQLite::Statement m_rows;
};

const std::string& TextsQuery() {
  static const std::string query =
      fmt::format("SELECT {} FROM metadata WHERE rowid = ?1", ColumnListOfForm("metadata"));
  return query;
}

// Reads the columns of a row of `metadata` one after the other, in the order of its form.
class CColumns {
 public:
  explicit CColumns(const SQLite::Statement& row) : m_row(row) {}

  CQvStringW Text() { return NameOfUtf16Row(m_row.getColumn(m_next++).getString()); }
  std::uint32_t Number() { return static_cast<std::uint32_t>(m_row.getColumn(m_next++).getInt64()); }
  std::int64_t LargeNumber() { return m_row.getColumn(m_next++).getInt64(); }
  void Skip() { ++m_next; }
  double Real() { return m_row.getColumn(m_next++).getDouble(); }
  template <class T>
  void Into(T& value) {
    value = static_cast<T>(Number());
  }

 private:
  const SQLite::Statement& m_row;
  int m_next = 0;
};

STextInfo TextsOf(const SQLite::Statement& row) {
  STextInfo info;
  CColumns columns(row);
  columns.Skip();  // the file's name
  columns.Skip();  // when it was written
  SQvImageTextInfo& texts = info.texts;
  for (CQvStringW* text :
       {&texts.imageID, &texts.type, &texts.group, &texts.sampleID, &texts.author, &texts.description, &texts.capturing,
        &texts.sampling, &texts.location, &texts.date, &texts.conclusion, &texts.info1, &texts.info2, &texts.optics}) {
    *text = columns.Text();
  }
  SQvImageInfo& image = info.image;
  columns.Into(image.width);
  columns.Skip();  // bytes of a row
  columns.Into(image.height);
  columns.Into(image.components);
  columns.Into(image.bpcInMemory);
  columns.Into(image.bpcSignificant);
  columns.Into(image.pixelType);
  columns.Into(image.sequenceCount);
  columns.Into(image.tileWidth);
  columns.Into(image.tileHeight);
  columns.Into(image.compression);
  columns.Skip();  // its parameter
  info.calibration = columns.Real();
  info.objective = columns.Text();
  info.acquisitionTime = columns.Real();
  info.fileSize = columns.LargeNumber();
  for (std::uint32_t& loop : info.loops) loop = columns.Number();
  return info;
}

// The row of that number; null when there is none.
SQLite::Statement* FindRow(const SQLite::Database& db, std::optional<SQLite::Statement>* query, const std::string& sql,
                           std::int64_t row) {
  if (!*query) query->emplace(db, sql);
  (*query)->reset();
  (*query)->bind(1, row);
  return (*query)->executeStep() ? &**query : nullptr;
}

}  // namespace

std::int64_t CKnownRows::Count(EKnownTable table) const {
  return m_db.execAndGet(fmt::format("SELECT count(*) FROM {}", QueryOf(table).name)).getInt64();
}

bool CKnownRows::HasRow(EKnownTable table, std::int64_t row) const {
  SQLite::Statement found(m_db, fmt::format("SELECT 1 FROM {} WHERE rowid = ?1", QueryOf(table).name));
  found.bind(1, row);
  return found.executeStep();
}

void CKnownRows::ForEach(EKnownTable table, std::int64_t first, const std::function<void(SKnownRow row)>& take) const {
  CRowReader reader(m_db, table, first);
  std::vector<SKnownRow> rows;
  for (bool more = true; more;) {
    more = reader.ReadSome(&rows);
    for (SKnownRow& row : rows) take(std::move(row));
  }
}

std::optional<STextInfo> CKnownRows::ReadTexts(std::int64_t row) const {
  std::optional<STextInfo> info;
  if (const SQLite::Statement* found = FindRow(m_db, &m_texts, TextsQuery(), row)) info = TextsOf(*found);
  m_texts->reset();
  return info;
}

std::optional<SKnownRecord> CKnownRows::ReadRecord(std::int64_t row) const {
  std::optional<SKnownRecord> record;
  static const std::string kSql = "SELECT userID, M_acqTime, experimentID FROM history WHERE rowid = ?1";
  if (const SQLite::Statement* found = FindRow(m_db, &m_record, kSql, row)) {
    record = {found->getColumn(0).getString(), found->getColumn(1).getDouble(), found->getColumn(2).getInt64()};
  }
  m_record->reset();
  return record;
}

}  // namespace qvhost
