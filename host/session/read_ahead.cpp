#include "host/session/read_ahead.h"

#include <algorithm>
#include <utility>

namespace qvhost {

CReadAhead::CReadAhead(std::size_t pieces, std::size_t ahead, unsigned mostThreads, CWork work)
    : m_ahead(ahead), m_work(std::move(work)), m_isTold(pieces) {
  const unsigned count = std::clamp(std::thread::hardware_concurrency(), 1u, mostThreads);
  try {
    for (unsigned i = 0; i < count; ++i) m_threads.emplace_back([this] { m_work(*this); });
  } catch (...) {
    // Fewer do it too.
    if (m_threads.empty()) throw;
  }
}

CReadAhead::~CReadAhead() {
  {
    const std::lock_guard lock(m_mutex);
    m_stop = true;
  }
  m_wanted.notify_all();
  for (std::thread& thread : m_threads) thread.join();
}

bool CReadAhead::Claim(std::size_t* piece) {
  std::unique_lock lock(m_mutex);
  m_wanted.wait(lock, [&] { return m_stop || m_next == m_isTold.size() || m_next < m_awaited + m_ahead; });
  if (m_stop || m_next == m_isTold.size()) return false;
  *piece = m_next++;
  return true;
}

void CReadAhead::Tell(std::size_t piece) {
  {
    const std::lock_guard lock(m_mutex);
    m_isTold[piece] = 1;
  }
  m_told.notify_one();
}

void CReadAhead::Await(std::size_t piece) {
  std::unique_lock lock(m_mutex);
  if (piece > m_awaited) {
    m_awaited = piece;
    m_wanted.notify_all();
  }
  m_told.wait(lock, [&] { return m_isTold[piece] != 0; });
}

}  // namespace qvhost
