#include "python/src/shared_service.h"

#include <fmt/format.h>
#include <unistd.h>

#include <filesystem>

#include "host/host_error.h"

namespace qvpython {
namespace {

constexpr const char* kClosed = "the database is closed";
constexpr const char* kForked =
    "the database was opened before this process was forked, which its background threads do not survive; open it in a "
    "process that is started anew (multiprocessing: the start method 'spawn')";

bool IsSameFile(const std::string& a, const std::string& b) {
  std::error_code error;
  return a == b || std::filesystem::equivalent(a, b, error);
}

qvhost::EDatabaseNeed NeedOf(const SOpening& opening) {
  return opening.writable ? qvhost::EDatabaseNeed::Fill : qvhost::EDatabaseNeed::Look;
}

std::string ViewNameOf(const SOpening& opening) {
  return qvhost::ViewName(qvhost::ViewOf(opening.database.view.value_or(qvhost::SViewOptions())));
}

}  // namespace

CSharedService& CSharedService::Get() {
  static CSharedService* const instance = new CSharedService;
  return *instance;
}

bool CSharedService::IsForked() const noexcept {
  const int process = m_process;
  return process != 0 && process != getpid();
}

std::string CSharedService::Join(const SOpening& opening) {
  if (IsForked()) throw CClosedError(kForked);
  std::unique_lock lock(m_mutex);
  m_settled.wait(lock, [this] { return !m_changing; });
  if (m_down) throw CClosedError("the interpreter is ending");
  if (m_handles == 0) {
    Open(lock, opening);
  } else {
    RequireSame(opening);
  }
  ++m_handles;
  return m_path;
}

void CSharedService::RequireSame(const SOpening& opening) const {
  const std::string path = qvhost::ChooseDatabase(opening.database).path;
  if (!IsSameFile(path, m_path)) {
    throw qvhost::CHostError(fmt::format(
        "{} is open, and a process can have one database open at a time; close it before you open {}", m_path, path));
  }
  if (ViewNameOf(opening) == ViewNameOf(m_opening) && opening.highQuality == m_opening.highQuality &&
      opening.inMemory == m_opening.inMemory && (m_opening.writable || !opening.writable)) {
    return;
  }
  throw qvhost::CHostError(
      fmt::format("{} is open with other settings; close it before you open it with these", m_path));
}

void CSharedService::Open(std::unique_lock<std::mutex>& lock, const SOpening& opening) {
  std::unique_ptr<qvhost::CSession> session;
  m_changing = true;
  lock.unlock();
  const auto settle = [&] {
    lock.lock();
    m_changing = false;
    m_settled.notify_all();
  };
  try {
    session = std::make_unique<qvhost::CSession>(QvThumbnailListener(&CWaiters::OnFinished, &m_waiters));
    session->Open(opening.database, NeedOf(opening));
    session->Service().SetHighQuality(opening.highQuality);
    session->Service().SetCacheLimit(opening.inMemory);
  } catch (...) {
    session.reset();
    settle();
    throw;
  }
  settle();
  m_session = std::move(session);
  m_opening = opening;
  m_path = qvhost::ChooseDatabase(opening.database).path;
  m_process = getpid();
}

void CSharedService::Leave() noexcept {
  if (IsForked()) return;
  std::unique_lock lock(m_mutex);
  if (!m_down && --m_handles == 0) Close(lock);
}

void CSharedService::Close(std::unique_lock<std::mutex>& lock) noexcept {
  m_changing = true;
  m_waiters.WakeAll();
  m_settled.wait(lock, [this] { return m_uses == 0; });
  lock.unlock();
  m_session.reset();
  lock.lock();
  m_process = 0;
  m_changing = false;
  m_settled.notify_all();
}

void CSharedService::ShutDown() noexcept {
  if (IsForked()) return;
  std::unique_lock lock(m_mutex);
  m_settled.wait(lock, [this] { return !m_changing; });
  m_down = true;
  if (m_session) Close(lock);
}

qvhost::CSession& CSharedService::Enter(const CHandle& handle) {
  if (IsForked()) throw CClosedError(kForked);
  const std::lock_guard lock(m_mutex);
  if (!handle.IsOpen() || m_changing || m_down) throw CClosedError(kClosed);
  ++m_uses;
  return *m_session;
}

void CSharedService::Exit() noexcept {
  const std::lock_guard lock(m_mutex);
  if (--m_uses == 0) m_settled.notify_all();
}

}  // namespace qvpython
