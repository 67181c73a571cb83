#include "host/files/current_files.h"

#include <algorithm>
#include <optional>

#include "host/files/image_file.h"

namespace qvhost {
namespace {

constexpr unsigned kMostThreads = 4;

}  // namespace

CCurrentFiles::CCurrentFiles(const std::vector<std::string>& files, bool highQuality, const std::string& databasePath)
    : m_files(files),
      m_highQuality(highQuality),
      m_databasePath(databasePath),
      m_isCurrent(files.size()),
      m_isTold((files.size() + kChunk - 1) / kChunk) {
  const unsigned count = std::clamp(std::thread::hardware_concurrency(), 1u, kMostThreads);
  for (unsigned i = 0; i < count; ++i) m_threads.emplace_back([this] { Work(); });
}

CCurrentFiles::~CCurrentFiles() {
  {
    const std::lock_guard lock(m_mutex);
    m_stop = true;
  }
  m_wanted.notify_all();
  for (std::thread& thread : m_threads) thread.join();
}

bool CCurrentFiles::IsCurrent(std::size_t number) {
  const std::size_t chunk = number / kChunk;
  std::unique_lock lock(m_mutex);
  if (chunk > m_wantedChunk) {
    m_wantedChunk = chunk;
    m_wanted.notify_all();
  }
  m_told.wait(lock, [&] { return m_isTold[chunk] != 0; });
  return m_isCurrent[number] != 0;
}

void CCurrentFiles::Work() noexcept {
  std::optional<CCacheRows> rows;
  for (std::size_t chunk = 0; Claim(&chunk); Tell(chunk)) {
    try {
      if (!rows) rows.emplace(m_databasePath);
      Look(*rows, chunk);
    } catch (...) {
      // Whoever asks looks again, and finds out why.
    }
  }
}

bool CCurrentFiles::Claim(std::size_t* chunk) {
  std::unique_lock lock(m_mutex);
  m_wanted.wait(lock, [&] { return m_stop || m_nextChunk == m_isTold.size() || m_nextChunk < m_wantedChunk + kAhead; });
  if (m_stop || m_nextChunk == m_isTold.size()) return false;
  *chunk = m_nextChunk++;
  return true;
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
  for (std::size_t i = begin; i != end; ++i) {
    SQvThumbnailDescription& description = wanted[i - begin];
    m_isCurrent[i] =
        found[i - begin] && IsThere(m_files[i], &description) && CCacheRows::IsCurrent(*found[i - begin], description);
  }
}

bool CCurrentFiles::IsThere(const std::string& file, SQvThumbnailDescription* description) const {
  std::string reason;
  return FindLastWritten(file, description) || DescribeFile(file, m_highQuality, description, &reason);
}

void CCurrentFiles::Tell(std::size_t chunk) {
  {
    const std::lock_guard lock(m_mutex);
    m_isTold[chunk] = 1;
  }
  m_told.notify_one();
}

}  // namespace qvhost
