#include "host/files/current_files.h"

#include <algorithm>
#include <optional>

#include "host/files/image_file.h"

namespace qvhost {
namespace {

constexpr unsigned kMostThreads = 4;
// Looked at by one thread at a time, and known together.
constexpr std::size_t kChunk = 256;
// How many chunks may be known before the first of them is asked for.
constexpr std::size_t kChunksAhead = 16;

}  // namespace

CCurrentFiles::CCurrentFiles(const std::vector<std::string>& files, bool highQuality, const std::string& databasePath)
    : m_files(files),
      m_highQuality(highQuality),
      m_databasePath(databasePath),
      m_isCurrent(files.size()),
      m_ahead((files.size() + kChunk - 1) / kChunk, kChunksAhead, kMostThreads,
              [this](CReadAhead& ahead) { Work(ahead); }) {}

bool CCurrentFiles::IsCurrent(std::size_t number) {
  m_ahead.Await(number / kChunk);
  return m_isCurrent[number] != 0;
}

void CCurrentFiles::Work(CReadAhead& ahead) noexcept {
  std::optional<CCacheRows> rows;
  for (std::size_t chunk = 0; ahead.Claim(&chunk); ahead.Tell(chunk)) {
    try {
      if (!rows) rows.emplace(m_databasePath);
      Look(*rows, chunk);
    } catch (...) {
      // Whoever asks looks again, and finds out why.
    }
  }
}

// The rows first: a file that has none need not be looked at, and the transaction does not wait for files.
void CCurrentFiles::Look(CCacheRows& rows, std::size_t chunk) {
  const std::size_t begin = chunk * kChunk, end = std::min(begin + kChunk, m_files.size());
  std::vector<SQvThumbnailDescription> wanted;
  for (std::size_t i = begin; i != end; ++i) wanted.push_back(DescribeLocation(m_files[i], m_highQuality));
  std::vector<std::optional<SCacheRow>> found;
  rows.ReadTogether([&] {
    for (const SQvThumbnailDescription& description : wanted) found.push_back(rows.Find(description));
  });
  CLastWrittenFinder times;
  for (std::size_t i = begin; i != end; ++i) {
    SQvThumbnailDescription& description = wanted[i - begin];
    const bool isThere = found[i - begin] && times.Find(m_files[i], &description);
    m_isCurrent[i] = isThere && CCacheRows::IsCurrent(*found[i - begin], description);
  }
}

}  // namespace qvhost
