#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "thumbnailcache/iqvthumbnailcache.h"

namespace qvtest {

// Makes the stand-in image formats known to the registry in place of the real ones.
void UseStandInFormats();
// Makes the components beside the system library known to the registry.
void UseInstalledComponents();

// The service with a reference for the caller; Release gives it back. Through the registry, or, in a program that
// carries the component's objects itself, through its factory.
IQvThumbnailCache* AcquireService();

// Owns a reference on the service and closes the database, if open, before it goes.
class CServiceHandle {
 public:
  CServiceHandle() : m_cache(AcquireService()) {}
  CServiceHandle(const CServiceHandle&) = delete;
  CServiceHandle& operator=(const CServiceHandle&) = delete;
  ~CServiceHandle();

  IQvThumbnailCache& operator*() const { return *m_cache; }
  IQvThumbnailCache* operator->() const { return m_cache; }
  std::int32_t Open(const std::wstring& path);
  std::int32_t Close();
  // Drops the reference, closed or not; returns the count left.
  std::int32_t Drop();

 private:
  IQvThumbnailCache* m_cache;
  bool m_open = false;
};

SQvThumbnailDescription Describe(const std::wstring& location, std::uint32_t flags = 0, double lastWritten = 0.0,
                                 IQvInterface* owner = nullptr);

void RequestNow(IQvThumbnailCache& cache, const std::vector<SQvThumbnailDescription>& descs);
void Queue(IQvThumbnailCache& cache, const std::vector<SQvThumbnailDescription>& descs);

struct SLookup {
  std::uint32_t state = 0;
  SQvPicBuf picture{};
  bool HasPicture() const { return picture.data != nullptr; }
};
SLookup Get(IQvThumbnailCache& cache, const SQvThumbnailDescription& desc, std::uint64_t referrer = 1);
// The state as a lookup shows it, with nothing held afterwards.
std::uint32_t PeekState(IQvThumbnailCache& cache, const SQvThumbnailDescription& desc);

// A listener that remembers what it was told.
class CRecordingListener {
 public:
  explicit CRecordingListener(IQvThumbnailCache& cache);
  CRecordingListener(const CRecordingListener&) = delete;
  CRecordingListener& operator=(const CRecordingListener&) = delete;
  ~CRecordingListener();

  // Waits until `count` calls came in all.
  void Wait(std::size_t count);
  // Waits until this location was told of `times` times.
  void WaitFor(const std::wstring& location, std::size_t times = 1);
  std::vector<std::wstring> Locations() const;
  std::size_t Count(const std::wstring& location) const;
  void Forget();

 private:
  static void Call(void* context, const wchar_t* location);

  IQvThumbnailCache& m_cache;
  mutable std::mutex m_mutex;
  std::condition_variable m_changed;
  std::vector<std::wstring> m_locations;
};

// Threads of this process.
int CountThreads();
// Waits, for at most ten seconds, until the process has this many threads; a joined thread may still be listed for a
// moment.
bool WaitForThreads(int count);

}  // namespace qvtest
