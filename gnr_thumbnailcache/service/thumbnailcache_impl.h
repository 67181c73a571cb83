#pragma once

#include <cstdint>
#include <vector>

#include "gnr_thumbnailcache/database/connection.h"
#include "gnr_thumbnailcache/memory/thumbnail_cache.h"
#include "gnr_thumbnailcache/service/listeners.h"
#include "gnr_thumbnailcache/textinfo/young_files.h"
#include "gnr_thumbnailcache/thumbnails/resolver.h"
#include "gnr_thumbnailcache/thumbnails/settings.h"
#include "gnr_thumbnailcache/thumbnails/workers.h"
#include "system/qvexport.h"
#include "thumbnailcache/iqvthumbnailcache.h"

class CQvThumbnailCacheImpl;

// Holds the one instance of the service. The registry calls the factory, and gives the last reference back, one thread
// at a time.
class QV_EXPORT CQvThumbnailCacheHolder {
 public:
  CQvThumbnailCacheHolder() noexcept = default;
  CQvThumbnailCacheHolder& operator=(const CQvThumbnailCacheHolder&) noexcept = default;
  // Deletes an instance that is still held when the library is unloaded.
  ~CQvThumbnailCacheHolder();

  // The instance with a reference added, or a new one. Null when memory is out.
  CQvThumbnailCacheImpl* getPtr(const char* file, unsigned int line);
  void Clear() noexcept { m_instance = nullptr; }

 private:
  CQvThumbnailCacheImpl* m_instance = nullptr;
};

// The service: what the interface promises, and the parts that keep it. Each operation guards against exceptions and
// hands on to the room of its name: the thumbnails in memory (memory/), making them (thumbnails/), text information
// (textinfo/), stored items (stored/), experiments and history (experiments/).
class CQvThumbnailCacheImpl : public IQvThumbnailCache, public virtual CQvClass {
 public:
  CQvThumbnailCacheImpl() = default;
  ~CQvThumbnailCacheImpl() override;

  QV_EXPORT static CQvThumbnailCacheHolder ptrWrap;
  // True in a process that was forked from the one that has the database open.
  bool IsOpenElsewhere() const noexcept { return m_workers.AreOfAnotherProcess(); }

  std::int32_t AddRef() override;
  std::int32_t Release() override;
  const char* GetClassName() const override;
  IQvInterface* QueryInterface(const char* name) override;
  void* GetMostDerivedObject() override;

  std::int32_t GetCachedThumbnail(std::uint64_t referrer, const SQvThumbnailDescription& desc, std::uint32_t* state,
                                  SQvPicBuf* picture) override;
  std::int32_t ReleaseThumbnail(std::uint64_t referrer, const SQvThumbnailDescription& desc) override;
  std::int32_t NotImplemented() override;
  std::int32_t CancelAllRequests() override;
  std::int32_t CancelRequests(std::uint64_t referrer, const SQvThumbnailDescription* descs,
                              std::int32_t count) override;
  std::int32_t RequestThumbnails(std::uint64_t reserved1, const SQvThumbnailDescription* descs, std::uint32_t count,
                                 std::uint32_t reserved2, bool queue) override;
  void ExcludeLocation(const wchar_t* location) override;
  void IncludeLocation(const wchar_t* location) override;
  std::int32_t PurgeUnusedThumbnails() override;
  std::int32_t DoNothing() override;
  std::int32_t SetHighQuality(bool on) override;
  std::int32_t GetHighQuality(bool* on) override;
  std::int32_t SetThumbnailBox(std::uint32_t width, std::uint32_t height, bool highQuality) override;
  std::int32_t GetThumbnailBox(bool highQuality, std::uint32_t* width, std::uint32_t* height) override;
  std::uint32_t GetCacheLimit() override;
  std::int32_t SetCacheLimit(std::uint32_t limit) override;
  std::int32_t OpenDatabase(const wchar_t* path) override;
  std::int32_t CloseDatabase() override;
  bool IgnoreLocation(CQvStringW location) override;
  std::int32_t GetFileTextInfo(const wchar_t* path, SQvImageTextInfo& textInfo, SQvImageInfo& imageInfo,
                               double& calibration, CQvStringW& objective, double& acqTime, std::int64_t& fileSize,
                               std::uint32_t* loopCounts) override;
  std::int32_t WriteExperiment(const SQvExperiment* experiment, const SQvPicturePlanes* planes, double acqTime,
                               int storedID, int* experimentID) override;
  std::int32_t ReadExperiment(SQvExperiment** experiment, SQvPicturePlanes* planes, double* acqTime,
                              int experimentID) override;
  std::int32_t ReadHistory(const wchar_t* userID, double acqFrom, double acqTo, std::vector<int>* experimentIDs,
                           std::vector<double>* acqTimes, std::vector<CQvStringW>* filenames) override;
  std::int32_t GetExperimentIDsByStoredID(int storedID, std::vector<int>* experimentIDs) override;
  std::int32_t DeleteHistory(double acqFrom, double acqTo, int experimentID) override;
  std::int32_t WriteHistory(const wchar_t* filename, const wchar_t* userID, double acqTime, int experimentID) override;
  std::int32_t GetHistoryFilenames(const wchar_t* userID, int experimentID, double acqFrom, double acqTo,
                                   std::vector<CQvStringW>* filenames) override;
  std::int32_t UpdateStoredItem(int storedID, int parentID, const wchar_t* filename, int flags) override;
  std::int32_t InsertStoredItem(int parentID, const wchar_t* filename, int flags, int* newStoredID) override;
  std::int32_t GetStoredChildren(int parentID, std::vector<int>* ids, std::vector<CQvStringW>* filenames) override;
  std::int32_t DeleteStoredItem(int storedID) override;
  QvThumbnailListener AddListener(QvThumbnailCallback callback, void* context) override;
  void RemoveListener(const QvThumbnailListener& listener) override;

 private:
  friend class CServiceForTest;

  void SetDefaults() noexcept;
  // Closes the database again and fails when there is none.
  std::int32_t StartWorkers() noexcept;

  CConnection m_connection;
  SThumbnailSettings m_settings;
  CThumbnailCache m_cache;
  CListeners m_listeners;
  CYoungFiles m_youngFiles;
  CThumbnailResolver m_resolver{m_connection, m_settings, m_youngFiles};
  CThumbnailWorkers m_workers{m_cache, m_resolver,
                              [this](const std::wstring& location) { m_listeners.Call(location); }};
};
