#include "python/src/waiters.h"

#include <algorithm>

namespace qvpython {

void CWaiters::OnFinished(void* context, const wchar_t* location) noexcept {
  auto* self = static_cast<CWaiters*>(context);
  const std::lock_guard lock(self->m_mutex);
  const auto [begin, end] = self->m_wanted.equal_range(location);
  for (auto it = begin; it != end; ++it) qvhost::CFinishedQueue::OnFinished(it->second, location);
}

void CWaiters::Add(qvhost::CFinishedQueue& queue) {
  const std::lock_guard lock(m_mutex);
  m_queues.push_back(&queue);
}

void CWaiters::Remove(qvhost::CFinishedQueue& queue) noexcept {
  const std::lock_guard lock(m_mutex);
  std::erase(m_queues, &queue);
  std::erase_if(m_wanted, [&queue](const auto& entry) { return entry.second == &queue; });
}

void CWaiters::WakeAll() noexcept {
  const std::lock_guard lock(m_mutex);
  for (qvhost::CFinishedQueue* queue : m_queues) queue->Wake();
}

void CWaiters::Want(const std::wstring& location, qvhost::CFinishedQueue& queue) {
  const std::lock_guard lock(m_mutex);
  m_wanted.emplace(location, &queue);
}

void CWaiters::GiveUp(const std::wstring& location, qvhost::CFinishedQueue& queue) noexcept {
  const std::lock_guard lock(m_mutex);
  Drop(location, queue);
}

// True when nobody else wants it.
bool CWaiters::Drop(const std::wstring& location, const qvhost::CFinishedQueue& queue) noexcept {
  const auto [begin, end] = m_wanted.equal_range(location);
  const auto own = std::find_if(begin, end, [&](const auto& entry) { return entry.second == &queue; });
  if (own != end) m_wanted.erase(own);
  return m_wanted.find(location) == m_wanted.end();
}

void CWaiters::Withdraw(IQvThumbnailCache* service, const std::vector<std::wstring>& locations,
                        qvhost::CFinishedQueue& queue) {
  const std::lock_guard lock(m_mutex);
  std::vector<SQvThumbnailDescription> unwanted;
  for (const std::wstring& location : locations) {
    if (Drop(location, queue)) unwanted.emplace_back().location = location.c_str();
  }
  if (!service || unwanted.empty()) return;
  service->CancelRequests(0, unwanted.data(), static_cast<std::int32_t>(unwanted.size()));
}

bool CWaiters::PurgeIfIdle(IQvThumbnailCache& service) {
  const std::lock_guard lock(m_mutex);
  if (!m_wanted.empty()) return false;
  service.PurgeUnusedThumbnails();
  return true;
}

}  // namespace qvpython
