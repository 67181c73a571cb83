#include "gnr_thumbnailcache/service/thumbnailcache_impl.h"

#include <cstring>

#include "gnr_thumbnailcache/base/diagnostics.h"
#include "gnr_thumbnailcache/base/guarded.h"
#include "gnr_thumbnailcache/experiments/experiment_records.h"
#include "gnr_thumbnailcache/experiments/history.h"
#include "gnr_thumbnailcache/stored/stored_items.h"
#include "gnr_thumbnailcache/textinfo/metadata_table.h"
#include "gnr_thumbnailcache/thumbnails/making_thread.h"
#include "system/qvstatus.h"

std::int32_t CQvThumbnailCacheImpl::AddRef() { return IncrementRefCount(); }

std::int32_t CQvThumbnailCacheImpl::Release() {
  const std::int32_t count = DecrementRefCount();
  if (count != 0 || !IsDeletedAtZero()) return count;
  // Deleting it would wait for the thread that this call is made on. The holder keeps it for the next who asks.
  if (CMakingThread::IsHere()) {
    Guarded(false, [] {
      return ReportText(__LINE__, L"THUMBCACHE: the last Release came from inside a listener: the service stays"), true;
    });
    return count;
  }
  ptrWrap.Clear();
  delete this;
  return count;
}

const char* CQvThumbnailCacheImpl::GetClassName() const { return "CQvThumbnailCacheImpl"; }

IQvInterface* CQvThumbnailCacheImpl::QueryInterface(const char* name) {
  if (!name || std::strcmp(name, "IQvThumbnailCache") != 0) return nullptr;
  AddRef();
  return static_cast<IQvThumbnailCache*>(this);
}

void* CQvThumbnailCacheImpl::GetMostDerivedObject() { return this; }

std::int32_t CQvThumbnailCacheImpl::GetCachedThumbnail(std::uint64_t referrer, const SQvThumbnailDescription& desc,
                                                       std::uint32_t* state, SQvPicBuf* picture) {
  return Guarded(kQvFailure, [&] {
    if (!state || !picture) return kQvFailure;
    *state = m_cache.Lookup(referrer, desc, m_settings.highQuality, picture);
    return kQvOk;
  });
}

std::int32_t CQvThumbnailCacheImpl::ReleaseThumbnail(std::uint64_t referrer, const SQvThumbnailDescription& desc) {
  return Guarded(kQvFailure, [&] { return m_cache.Release(referrer, desc), kQvOk; });
}

std::int32_t CQvThumbnailCacheImpl::NotImplemented() { return kQvNotImplemented; }

std::int32_t CQvThumbnailCacheImpl::CancelAllRequests() { return m_cache.CancelAll(), kQvOk; }

std::int32_t CQvThumbnailCacheImpl::CancelRequests(std::uint64_t, const SQvThumbnailDescription* descs,
                                                   std::int32_t count) {
  return Guarded(kQvFailure, [&] { return m_cache.Cancel(descs, descs ? count : 0), kQvOk; });
}

std::int32_t CQvThumbnailCacheImpl::RequestThumbnails(std::uint64_t, const SQvThumbnailDescription* descs,
                                                      std::uint32_t count, std::uint32_t, bool queue) {
  return Guarded(kQvOk, [&] {
    if (!descs) count = 0;
    if (!queue) {
      ResolveNow(descs, count, m_cache, m_resolver);
    } else if (count != 0) {
      m_cache.Queue(descs, count);
    }
    return kQvOk;
  });
}

void CQvThumbnailCacheImpl::ExcludeLocation(const wchar_t* location) {
  if (location) Guarded(false, [&] { return m_cache.Exclude(location), true; });
}

void CQvThumbnailCacheImpl::IncludeLocation(const wchar_t* location) {
  if (location) Guarded(false, [&] { return m_cache.Include(location), true; });
}

std::int32_t CQvThumbnailCacheImpl::PurgeUnusedThumbnails() {
  return Guarded(kQvFailure, [&] { return m_cache.Purge(), kQvOk; });
}

std::int32_t CQvThumbnailCacheImpl::DoNothing() { return kQvOk; }

std::int32_t CQvThumbnailCacheImpl::SetHighQuality(bool on) {
  m_settings.highQuality = on;
  return kQvOk;
}

std::int32_t CQvThumbnailCacheImpl::GetHighQuality(bool* on) {
  if (on) *on = m_settings.highQuality;
  return kQvOk;
}

std::int32_t CQvThumbnailCacheImpl::SetThumbnailBox(std::uint32_t width, std::uint32_t height, bool highQuality) {
  m_settings.Box(highQuality) = SThumbnailBox{width, height};
  return kQvOk;
}

std::int32_t CQvThumbnailCacheImpl::GetThumbnailBox(bool highQuality, std::uint32_t* width, std::uint32_t* height) {
  const SThumbnailBox box = m_settings.Box(highQuality);
  if (width) *width = box.width;
  if (height) *height = box.height;
  return kQvOk;
}

std::uint32_t CQvThumbnailCacheImpl::GetCacheLimit() { return m_cache.GetLimit(); }

std::int32_t CQvThumbnailCacheImpl::SetCacheLimit(std::uint32_t limit) { return m_cache.SetLimit(limit), kQvOk; }

bool CQvThumbnailCacheImpl::IgnoreLocation(CQvStringW) { return false; }

std::int32_t CQvThumbnailCacheImpl::GetFileTextInfo(const wchar_t* path, SQvImageTextInfo& textInfo,
                                                    SQvImageInfo& imageInfo, double& calibration, CQvStringW& objective,
                                                    double& acqTime, std::int64_t& fileSize,
                                                    std::uint32_t* loopCounts) {
  return Guarded(kQvFailure, [&] {
    if (!path) return kQvFailure;
    STextInformation info{textInfo, imageInfo, calibration, objective, acqTime, fileSize, {}};
    if (loopCounts) info.loops = {loopCounts[0], loopCounts[1], loopCounts[2], loopCounts[3]};
    const bool found = ::GetFileTextInfo(m_connection.Get(), path, m_youngFiles, info);
    textInfo = info.text;
    imageInfo = info.image;
    calibration = info.calibration;
    objective = info.objective;
    acqTime = info.acqTime;
    fileSize = info.fileSize;
    if (loopCounts) {
      loopCounts[0] = info.loops.time;
      loopCounts[1] = info.loops.z;
      loopCounts[2] = info.loops.multipoint;
      loopCounts[3] = info.loops.lambda;
    }
    return found ? kQvOk : kQvFailure;
  });
}

std::int32_t CQvThumbnailCacheImpl::WriteExperiment(const SQvExperiment* experiment, const SQvPicturePlanes* planes,
                                                    double acqTime, int storedID, int* experimentID) {
  return Guarded(kQvFailure, [&] {
    return ::WriteExperiment(m_connection.Get(), experiment, planes, acqTime, storedID, experimentID);
  });
}

std::int32_t CQvThumbnailCacheImpl::ReadExperiment(SQvExperiment** experiment, SQvPicturePlanes* planes,
                                                   double* acqTime, int experimentID) {
  return Guarded(kQvFailure,
                 [&] { return ::ReadExperiment(m_connection.Get(), experiment, planes, acqTime, experimentID); });
}

std::int32_t CQvThumbnailCacheImpl::ReadHistory(const wchar_t* userID, double acqFrom, double acqTo,
                                                std::vector<int>* experimentIDs, std::vector<double>* acqTimes,
                                                std::vector<CQvStringW>* filenames) {
  return Guarded(kQvFailure, [&] {
    return ::ReadHistory(m_connection.Get(), userID, acqFrom, acqTo, experimentIDs, acqTimes, filenames);
  });
}

std::int32_t CQvThumbnailCacheImpl::GetExperimentIDsByStoredID(int storedID, std::vector<int>* experimentIDs) {
  return Guarded(kQvFailure, [&] { return ::GetExperimentIDsByStoredID(m_connection.Get(), storedID, experimentIDs); });
}

std::int32_t CQvThumbnailCacheImpl::DeleteHistory(double acqFrom, double acqTo, int experimentID) {
  return Guarded(kQvFailure, [&] { return ::DeleteHistory(m_connection.Get(), acqFrom, acqTo, experimentID); });
}

std::int32_t CQvThumbnailCacheImpl::WriteHistory(const wchar_t* filename, const wchar_t* userID, double acqTime,
                                                 int experimentID) {
  return Guarded(kQvFailure,
                 [&] { return ::WriteHistory(m_connection.Get(), filename, userID, acqTime, experimentID); });
}

std::int32_t CQvThumbnailCacheImpl::GetHistoryFilenames(const wchar_t* userID, int experimentID, double acqFrom,
                                                        double acqTo, std::vector<CQvStringW>* filenames) {
  return Guarded(kQvFailure, [&] {
    return ::GetHistoryFilenames(m_connection.Get(), userID, experimentID, acqFrom, acqTo, filenames);
  });
}

std::int32_t CQvThumbnailCacheImpl::UpdateStoredItem(int storedID, int parentID, const wchar_t* filename, int flags) {
  return Guarded(kQvFailure,
                 [&] { return ::UpdateStoredItem(m_connection.Get(), storedID, parentID, filename, flags); });
}

std::int32_t CQvThumbnailCacheImpl::InsertStoredItem(int parentID, const wchar_t* filename, int flags,
                                                     int* newStoredID) {
  return Guarded(kQvFailure,
                 [&] { return ::InsertStoredItem(m_connection.Get(), parentID, filename, flags, newStoredID); });
}

std::int32_t CQvThumbnailCacheImpl::GetStoredChildren(int parentID, std::vector<int>* ids,
                                                      std::vector<CQvStringW>* filenames) {
  return Guarded(kQvFailure, [&] { return ::GetStoredChildren(m_connection.Get(), parentID, ids, filenames); });
}

std::int32_t CQvThumbnailCacheImpl::DeleteStoredItem(int storedID) {
  return Guarded(kQvFailure, [&] { return ::DeleteStoredItem(m_connection.Get(), *this, storedID); });
}

QvThumbnailListener CQvThumbnailCacheImpl::AddListener(QvThumbnailCallback callback, void* context) {
  return Guarded(QvThumbnailListener(), [&] {
    const QvThumbnailListener listener(callback, context);
    return m_listeners.Add(listener), listener;
  });
}

void CQvThumbnailCacheImpl::RemoveListener(const QvThumbnailListener& listener) { m_listeners.Remove(listener); }
