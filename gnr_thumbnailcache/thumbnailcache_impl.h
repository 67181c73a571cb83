#pragma once

#include <pthread.h>
#include <sqlite3.h>

#include <atomic>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "gnr_thumbnailcache/eviction_order.h"
#include "gnr_thumbnailcache/locking.h"
#include "gnr_thumbnailcache/request_queue.h"
#include "gnr_thumbnailcache/shown_pictures.h"
#include "gnr_thumbnailcache/thumbnail_entry.h"
#include "system/qvexport.h"
#include "thumbnailcache/iqvthumbnailcache.h"

class CQvThumbnailCacheImpl;
class CThumbnailWork;
class IQvImageDatabase;
class IQvImageFormatManager;
class IQvPictureSource;
struct STextInformation;

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

// A bounding box in pixels, aligned so that it can be read and written as one.
struct alignas(8) SThumbnailBox {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
};

// The service. Where an operation is implemented: small ones, references and dispatch here; opening in database_open;
// lookups, withdrawals and purging in cache_map; requests and workers in thumbnails/; text information in textinfo/;
// stored items in stored/; experiments and history in experiments/.
//
// Locks, in order: m_mutex (the service mutex), then m_queueMutex. m_dbWriteMutex and m_listenerMutex are taken alone.
// No lock is held while SQL runs or a listener is called; see docs/architecture.md.
class CQvThumbnailCacheImpl : public IQvThumbnailCache, public virtual CQvClass {
 public:
  CQvThumbnailCacheImpl();
  ~CQvThumbnailCacheImpl() override;

  QV_EXPORT static CQvThumbnailCacheHolder ptrWrap;

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

  // Test-only: whether the invariants of the map, the queue, the eviction order and the picture count hold
  // (invariants.cpp). The count is compared only while no thumbnail is in work.
  bool CheckInvariants();

 private:
  using CCacheMap = std::map<std::wstring, std::unique_ptr<CThumbnailEntry>>;
  struct SWorkerThread {
    pthread_t handle{};
    bool started = false;
  };
  enum class EPublish { Everything, Picture };

  // The connection while the database is open, else null.
  sqlite3* GetDatabase() const noexcept { return m_open ? m_db : nullptr; }
  static std::wstring ChooseDatabasePath(const wchar_t* path);
  sqlite3* OpenConnection(const CQvStringA& path);
  void SetDefaults() noexcept;
  void CloseConnections() noexcept;

  // cache_map.cpp
  CThumbnailEntry* FindEntry(const std::wstring& key) QV_REQUIRES(m_mutex);
  // `inserted` tells whether the entry is new: state queued, everything else empty.
  CThumbnailEntry* FindOrInsertEntry(const SQvThumbnailDescription& desc, bool* inserted) QV_REQUIRES(m_mutex);
  bool IsOutdated(const CThumbnailEntry& entry, const SQvThumbnailDescription& desc) const QV_REQUIRES(m_mutex);
  void SetState(CThumbnailEntry* entry, std::uint32_t state) noexcept QV_REQUIRES(m_mutex);
  // Notes a use and brings the entry to its place in the eviction order.
  void StampUse(CThumbnailEntry* entry) noexcept QV_REQUIRES(m_mutex);
  void AppendRequest(CThumbnailEntry* entry) QV_REQUIRES(m_mutex) QV_EXCLUDES(m_queueMutex);
  void PutRequestFirst(CThumbnailEntry* entry) QV_REQUIRES(m_mutex) QV_EXCLUDES(m_queueMutex);
  void FreePicture(CThumbnailEntry* entry) QV_REQUIRES(m_mutex);
  void LowerPictureCount() noexcept;

  // thumbnails/eviction.cpp
  void EvictThumbnails() QV_REQUIRES(m_mutex);

  // thumbnails/records.cpp
  bool ReadThumbnailFromDatabase(CThumbnailWork& work, IQvImageFormatManager* manager);
  void SaveThumbnailToDatabase(const CThumbnailWork& work, IQvImageFormatManager* manager);
  bool EncodeThumbnail(const CThumbnailWork& work, IQvImageFormatManager* manager, CQvByteArray& stream);

  // thumbnails/creation.cpp, thumbnails/database_source.cpp
  bool CreateThumbnail(CThumbnailWork& work, IQvImageFormatManager* manager, STextInformation& info);
  bool CreateFromFile(CThumbnailWork& work, IQvImageFormatManager* manager, STextInformation& info);
  bool CreateFromDatabase(CThumbnailWork& work);
  bool CreateFromRecord(CThumbnailWork& work, IQvImageDatabase& database);
  bool GiveFittedShape(CThumbnailWork& work, const SQvImageInfo& info);

  // thumbnails/request_path.cpp
  void ResolveNow(const SQvThumbnailDescription& desc, IQvImageFormatManager* manager);
  bool IsTakenNow(const CThumbnailEntry& entry, const SQvThumbnailDescription& desc) const QV_REQUIRES(m_mutex);
  void QueueRequest(const SQvThumbnailDescription& desc) QV_REQUIRES(m_mutex);
  // Creates and saves a thumbnail that the database does not have.
  void CreateAndSave(CThumbnailWork& work, IQvImageFormatManager* manager);

  // thumbnails/thumbnail_work.cpp
  void TakeForWork(CThumbnailEntry* entry, CThumbnailWork* work) QV_REQUIRES(m_mutex);
  void Publish(CThumbnailWork& work, EPublish what) QV_REQUIRES(m_mutex);
  void PublishPicture(CThumbnailWork& work) QV_REQUIRES(m_mutex);

  // thumbnails/workers.cpp
  int StartWorkers();
  void StopWorkers() QV_EXCLUDES(m_mutex);
  void ThumbnailWorker() QV_EXCLUDES(m_mutex);
  static void* RunWorker(void* service);
  // Waits for an entry that is to be worked on and fills the copy; false at stop.
  bool TakeNextRequest(CThumbnailWork* work) QV_REQUIRES(m_mutex);
  // The front of the queue; null at stop.
  CThumbnailEntry* WaitForRequest() QV_REQUIRES(m_mutex);
  bool IsWorthWork(CThumbnailEntry* entry) QV_REQUIRES(m_mutex);
  void ResolveQueued(CThumbnailWork& work, IQvImageFormatManager* manager);
  void CallListeners(const std::wstring& location);

  // textinfo/metadata_table.cpp
  bool ReadFileTextInfoFromDatabase(const CQvStringW& path, STextInformation& info);
  void SaveFileTextInfoToDatabase(const CQvStringW& path, const STextInformation& info);

  sqlite3* m_db = nullptr;
  std::unique_ptr<SWorkerThread[]> m_threads;
  CQvCondition m_workCond;
  std::int32_t m_threadCount = 0;
  std::atomic<bool> m_stop{false};
  std::atomic<bool> m_highQuality{false};
  std::atomic<SThumbnailBox> m_highQualityBox{};
  std::atomic<SThumbnailBox> m_standardBox{};
  std::uint64_t m_useCounter QV_GUARDED_BY(m_mutex) = 0;
  std::atomic<std::uint32_t> m_cacheLimit{0};
  // Entries that hold pixels, counting those that a thread at work is about to publish.
  std::atomic<std::uint32_t> m_pictureCount{0};
  CQvMutex m_dbWriteMutex;  // around obtaining the JPEG output codec
  CQvMutex m_queueMutex QV_TSA(acquired_after(m_mutex));
  CQvMutex m_mutex;
  CCacheMap m_CacheMap QV_GUARDED_BY(m_mutex);
  CRequestQueue m_requestQueue QV_GUARDED_BY(m_queueMutex);
  std::list<QvThumbnailListener> m_listeners QV_GUARDED_BY(m_listenerMutex);
  std::set<std::wstring> m_excludedLocations QV_GUARDED_BY(m_mutex);

  // m_db keeps its value when the database is closed; this tells whether it may be used.
  std::atomic<bool> m_open{false};
  // Handles of opens that failed. They are closed with the next close, or with the service.
  std::vector<sqlite3*> m_failedConnections;
  CQvMutex m_listenerMutex;
  CEvictionOrder m_evictionOrder QV_GUARDED_BY(m_mutex);
  CShownPictures m_shownPictures QV_GUARDED_BY(m_mutex);
};
