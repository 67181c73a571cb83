#include "host/session/cache_rows.h"

namespace qvhost {
namespace {

// Rows keep the location in lower case.
std::string RowName(const SQvThumbnailDescription& description) {
  return CQvStringUtils::WtoUTF8(SQvThumbnailDescription::LowerCase(description.location)).Str();
}

}  // namespace

CCacheRows::CCacheRows(const std::string& databasePath)
    : m_db(OpenForReading(databasePath)),
      m_find(m_db, "SELECT lastWritten, quality FROM cache WHERE filename = ?1 AND flags = ?2 AND length(binData) > 0"),
      m_read(m_db, "SELECT binData FROM cache WHERE filename = ?1 AND flags = ?2") {}

std::optional<SCacheRow> CCacheRows::Find(const SQvThumbnailDescription& description) {
  std::optional<SCacheRow> row;
  SQLite::bind(m_find, RowName(description), description.flags);
  if (m_find.executeStep()) row = SCacheRow{m_find.getColumn(0).getDouble(), m_find.getColumn(1).getInt64() != 0};
  m_find.reset();
  return row;
}

bool CCacheRows::IsCurrent(const SQvThumbnailDescription& description) {
  const std::optional<SCacheRow> row = Find(description);
  return row && row->lastWritten == description.lastWritten && (row->highQuality || description.flags == 0);
}

std::string CCacheRows::ReadJpeg(const SQvThumbnailDescription& description) {
  std::string jpeg;
  SQLite::bind(m_read, RowName(description), description.flags);
  if (m_read.executeStep()) jpeg = m_read.getColumn(0).getString();
  m_read.reset();
  return jpeg;
}

}  // namespace qvhost
