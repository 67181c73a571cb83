#include "bench/service/support/cache.h"

#include <cstdio>
#include <cstdlib>
#include <iterator>

#include "tests/support/sql.h"

namespace qvbench {

void Fail(const std::string& reason) {
  std::fprintf(stderr, "%s\n", reason.c_str());
  std::exit(1);
}

COpenCache::COpenCache(const std::string& file) {
  static const bool scanned = CQvRTTI::ScanFolder(CQvRTTI::GetLibraryFolder().c_str()) >= 0;
  if (scanned) {
    m_cache =
        QvCreate<IQvThumbnailCache>("CQvThumbnailCacheImpl", "IQvThumbnailCache", SQvFileLine(__FILE__, __LINE__));
  }
  if (!m_cache) Fail("the service was not found beside the system library");
  if (m_cache->OpenDatabase(CQvStringUtils::UTF8toW(file).c_str()) != 0) Fail("cannot open " + file);
}

CQueuedRequests::CQueuedRequests(IQvThumbnailCache& cache) : m_cache(cache) {
  m_listener = cache.AddListener(
      [](void* context, const wchar_t*) {
        auto* self = static_cast<CQueuedRequests*>(context);
        if (++self->m_finished == self->m_wanted) self->m_finished.notify_one();
      },
      this);
}

void CQueuedRequests::MakeAll(std::span<const SQvThumbnailDescription> descriptions) {
  m_wanted += descriptions.size();
  m_cache.RequestThumbnails(0, descriptions.data(), static_cast<std::uint32_t>(descriptions.size()), 0, true);
  for (std::size_t now = m_finished; now != m_wanted; now = m_finished) m_finished.wait(now);
}

void MakeDatabase(const std::string& file) {
  qvtest::CSql(file).Run("PRAGMA journal_mode=WAL");
  const COpenCache cache(file);
}

std::wstring LocationOf(std::size_t number) {
  wchar_t text[80];
  std::swprintf(text, std::size(text), L"/data/Microscope-2/2024-05-06 Plate %02zu/Well_B%02zu_Field_%04zu.tif",
                number / 10000, number / 100 % 100, number);
  return text;
}

std::string RowNameOf(std::size_t number) {
  std::wstring location = LocationOf(number);
  CQvStringUtils::ToLower(location);
  return CQvStringUtils::WtoUTF8(location).Str();
}

SQvThumbnailDescription Describe(const std::wstring& location) {
  SQvThumbnailDescription description;
  description.location = location;
  return description;
}

std::vector<SQvThumbnailDescription> DescribeFirst(std::size_t count) {
  std::vector<SQvThumbnailDescription> descriptions;
  descriptions.reserve(count);
  for (std::size_t i = 0; i < count; ++i) descriptions.push_back(Describe(LocationOf(i)));
  return descriptions;
}

void FillRows(const std::string& file, std::size_t first, std::size_t end, std::span<const std::uint8_t> stream,
              bool withTexts) {
  qvtest::CSql db(file);
  db.Run("BEGIN");
  qvtest::CSqlStatement picture(db, "INSERT INTO cache VALUES (?, 2460000.5, 0, ?, 0)");
  qvtest::CSqlStatement texts(
      db, "INSERT INTO metadata (filename, lastWritten, M_width, M_objective) VALUES (?, 1, 2048, 'x')");
  for (std::size_t i = first; i < end; ++i) {
    const std::string name = RowNameOf(i);
    picture.Text(1, name).Blob(2, stream).Done();
    picture.Reset();
    if (!withTexts) continue;
    texts.Text(1, name).Done();
    texts.Reset();
  }
  db.Run("COMMIT");
}

}  // namespace qvbench
