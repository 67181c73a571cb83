#include "tests/thumbnailcache/support/service.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <set>
#include <thread>

#include "system/qvrtti.h"

namespace qvtest {

void UseStandInFormats() {
  // An earlier test of the program may have made the real ones known.
  CQvRTTI::Reset();
  const CQvStringW folder = CQvRTTI::GetLibraryFolder() + L"/standin";
  ASSERT_GE(CQvRTTI::ScanFolder(folder.c_str()), 0);
  SQvRTTICacheEntry entry;
  ASSERT_TRUE(CQvRTTI::FindClass("CQvImageFormatManagerImpl", &entry));
  ASSERT_NE(entry.libraryPath.Str().find(L"standin"), std::wstring::npos);
}

void UseInstalledComponents() { ASSERT_GE(CQvRTTI::ScanFolder(CQvRTTI::GetLibraryFolder().c_str()), 0); }

CServiceHandle::~CServiceHandle() {
  if (!m_cache) return;
  Close();
  CQvRTTI::Release(m_cache);
}

std::int32_t CServiceHandle::Open(const std::wstring& path) {
  const std::int32_t result = m_cache->OpenDatabase(path.c_str());
  m_open = result == 0;
  return result;
}

std::int32_t CServiceHandle::Close() {
  if (!m_open) return 0;
  m_open = false;
  return m_cache->CloseDatabase();
}

std::int32_t CServiceHandle::Drop() {
  const std::int32_t left = m_cache->Release();
  m_cache = nullptr;
  return left;
}

SQvThumbnailDescription Describe(const std::wstring& location, std::uint32_t flags, double lastWritten,
                                 IQvInterface* owner) {
  SQvThumbnailDescription desc;
  desc.location = location;
  desc.flags = flags;
  desc.lastWritten = lastWritten;
  desc.owner = owner;
  return desc;
}

void RequestNow(IQvThumbnailCache& cache, const std::vector<SQvThumbnailDescription>& descs) {
  EXPECT_EQ(cache.RequestThumbnails(0, descs.data(), static_cast<std::uint32_t>(descs.size()), 0, false), 0);
}

void Queue(IQvThumbnailCache& cache, const std::vector<SQvThumbnailDescription>& descs) {
  EXPECT_EQ(cache.RequestThumbnails(0, descs.data(), static_cast<std::uint32_t>(descs.size()), 0, true), 0);
}

SLookup Get(IQvThumbnailCache& cache, const SQvThumbnailDescription& desc, std::uint64_t referrer) {
  SLookup look;
  look.state = 0xABCD;
  EXPECT_EQ(cache.GetCachedThumbnail(referrer, desc, &look.state, &look.picture), 0);
  return look;
}

std::uint32_t PeekState(IQvThumbnailCache& cache, const SQvThumbnailDescription& desc) {
  constexpr std::uint64_t kPasserBy = 0xFFFF0000FFFF0000u;
  const SLookup look = Get(cache, desc, kPasserBy);
  // A record's thumbnail may be ready or stale without a picture.
  if (look.state == kQvThumbnailReady || look.state == kQvThumbnailStale) cache.ReleaseThumbnail(kPasserBy, desc);
  return look.state;
}

namespace {

// A call that a worker has begun may still arrive when the listener is removed, so calls ask whether it lives.
std::mutex g_livingMutex;
std::set<const void*> g_living;

}  // namespace

CRecordingListener::CRecordingListener(IQvThumbnailCache& cache) : m_cache(cache) {
  {
    std::lock_guard lock(g_livingMutex);
    g_living.insert(this);
  }
  cache.AddListener(&CRecordingListener::Call, this);
}

CRecordingListener::~CRecordingListener() {
  m_cache.RemoveListener({&CRecordingListener::Call, this});
  std::lock_guard lock(g_livingMutex);
  g_living.erase(this);
}

void CRecordingListener::Wait(std::size_t count) {
  std::unique_lock lock(m_mutex);
  m_changed.wait(lock, [&] { return m_locations.size() >= count; });
}

void CRecordingListener::WaitFor(const std::wstring& location, std::size_t times) {
  std::unique_lock lock(m_mutex);
  m_changed.wait(lock, [&] {
    return static_cast<std::size_t>(std::count(m_locations.begin(), m_locations.end(), location)) >= times;
  });
}

std::vector<std::wstring> CRecordingListener::Locations() const {
  std::lock_guard lock(m_mutex);
  return m_locations;
}

std::size_t CRecordingListener::Count(const std::wstring& location) const {
  std::lock_guard lock(m_mutex);
  return static_cast<std::size_t>(std::count(m_locations.begin(), m_locations.end(), location));
}

void CRecordingListener::Forget() {
  std::lock_guard lock(m_mutex);
  m_locations.clear();
}

void CRecordingListener::Call(void* context, const wchar_t* location) {
  std::lock_guard living(g_livingMutex);
  if (g_living.count(context) == 0) return;
  auto* self = static_cast<CRecordingListener*>(context);
  std::lock_guard lock(self->m_mutex);
  self->m_locations.emplace_back(location);
  self->m_changed.notify_all();
}

int CountThreads() {
  int count = 0;
  for ([[maybe_unused]] const auto& task : std::filesystem::directory_iterator("/proc/self/task")) ++count;
  return count;
}

bool WaitForThreads(int count) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (CountThreads() != count && std::chrono::steady_clock::now() < end)
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  return CountThreads() == count;
}

}  // namespace qvtest
