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
      m_find(m_db.Prepare(
          "SELECT lastWritten, quality FROM cache WHERE filename = ?1 AND flags = ?2 AND length(binData) > 0")),
      m_read(m_db.Prepare("SELECT binData FROM cache WHERE filename = ?1 AND flags = ?2")) {}

std::optional<SCacheRow> CCacheRows::Find(const SQvThumbnailDescription& description) {
  const std::string name = RowName(description);
  std::optional<SCacheRow> row;
  m_find.Bind(1, name).Bind(2, static_cast<std::int64_t>(description.flags));
  if (m_find.Step()) row = SCacheRow{m_find.Double(0), m_find.Int(1) != 0};
  m_find.Reset();
  return row;
}

bool CCacheRows::IsCurrent(const SQvThumbnailDescription& description) {
  const std::optional<SCacheRow> row = Find(description);
  return row && row->lastWritten == description.lastWritten && (row->highQuality || description.flags == 0);
}

std::string CCacheRows::ReadJpeg(const SQvThumbnailDescription& description) {
  const std::string name = RowName(description);
  std::string jpeg;
  m_read.Bind(1, name).Bind(2, static_cast<std::int64_t>(description.flags));
  if (m_read.Step()) jpeg = m_read.Blob(0);
  m_read.Reset();
  return jpeg;
}

}  // namespace qvhost
