#include "host/session/cache_rows.h"

#include <utility>

namespace qvhost {
CCacheRows::CCacheRows(const std::string& databasePath) : CCacheRows(OpenForReading(databasePath)) {}

CCacheRows::CCacheRows(SQLite::Database db)
    : m_db(std::move(db)),
      m_find(m_db, "SELECT lastWritten, quality FROM cache WHERE filename = ?1 AND flags = ?2 AND length(binData) > 0"),
      m_read(m_db, "SELECT binData FROM cache WHERE filename = ?1 AND flags = ?2") {}

std::string CCacheRows::NameOf(const SQvThumbnailDescription& description) {
  // Rows keep the location in lower case.
  return CQvStringUtils::WtoUTF8(SQvThumbnailDescription::LowerCase(description.location)).Str();
}

std::optional<SCacheRow> CCacheRows::Find(const SQvThumbnailDescription& description) {
  std::optional<SCacheRow> row;
  SQLite::bind(m_find, NameOf(description), description.flags);
  if (m_find.executeStep()) row = SCacheRow{m_find.getColumn(0).getDouble(), m_find.getColumn(1).getInt64() != 0};
  m_find.reset();
  return row;
}

bool CCacheRows::IsCurrent(const SQvThumbnailDescription& description) {
  const std::optional<SCacheRow> row = Find(description);
  return row && IsCurrent(*row, description);
}

bool CCacheRows::IsCurrent(const SCacheRow& row, const SQvThumbnailDescription& description) noexcept {
  return row.lastWritten == description.lastWritten && (row.highQuality || description.flags == 0);
}

void CCacheRows::ReadTogether(const std::function<void()>& lookUp) {
  SQLite::Transaction transaction(m_db);
  lookUp();
  transaction.commit();
}

std::string CCacheRows::ReadJpeg(const SQvThumbnailDescription& description) {
  std::string jpeg;
  SQLite::bind(m_read, NameOf(description), description.flags);
  if (m_read.executeStep()) jpeg = m_read.getColumn(0).getString();
  m_read.reset();
  return jpeg;
}

}  // namespace qvhost
