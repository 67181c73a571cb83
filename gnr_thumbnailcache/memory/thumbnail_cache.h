#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "gnr_thumbnailcache/base/locking.h"
#include "gnr_thumbnailcache/memory/eviction_order.h"
#include "gnr_thumbnailcache/memory/picture_count.h"
#include "gnr_thumbnailcache/memory/request_queue.h"
#include "gnr_thumbnailcache/memory/shown_pictures.h"
#include "gnr_thumbnailcache/memory/thumbnail_entry.h"
#include "gnr_thumbnailcache/memory/thumbnail_work.h"

// The thumbnails in memory: which there are and in what state, who shows them, which are wanted, and who works on them.
// It knows neither where pictures come from nor where they are kept; whoever takes an entry for work brings the result
// back with Publish.
//
// Every operation takes the locks itself and may be called from any thread between the Init functions and DestroyLocks,
// but for those that say otherwise. Operations that are not noexcept may throw std::bad_alloc; they have then changed
// nothing, but for lists of locations, of which a part may be done. What is taken for work is always published, and a
// work that memory ran out for ends as failed.
//
// Invariants, whenever the service mutex is free:
//  - the key of an entry is the one it stands under in the map;
//  - the queue holds pointers to entries of the map only, each as often as the entry's queueCount says;
//  - an entry is in the eviction order exactly when it is unreferenced, ready or stale, and not in work, and the order
//    is by last use, then by key;
// - the picture count is the number of entries with pixels and of pictures that works add to entries without; when
//    nothing is in work, the former alone;
//  - an entry in work is changed only by the thread that publishes it, but for its references, its owner and, when a
//    database location is released with another time, its time and its state;
//  - pixels that were handed out stay until every viewer that got them has given them back.
class CThumbnailCache {
 public:
  CThumbnailCache() = default;
  CThumbnailCache(const CThumbnailCache&) = delete;
  CThumbnailCache& operator=(const CThumbnailCache&) = delete;

  // The life of the locks follows the opening and closing of the database, while no other thread is here. The service
  // mutex comes with the condition that workers wait on.
  void InitServiceMutex() noexcept;
  void InitQueueMutex() noexcept;
  void DestroyLocks() noexcept;
  void ResetUseCounter() noexcept QV_EXCLUDES(m_mutex);

  // The most entries that may hold pixels. Observed when an entry is taken.
  std::uint32_t GetLimit() const noexcept { return m_cacheLimit; }
  void SetLimit(std::uint32_t limit) noexcept { m_cacheLimit = limit; }

  // For viewers: see GetCachedThumbnail and ReleaseThumbnail of IQvThumbnailCache. `highQuality`: standard pictures are
  // no longer wanted. Lookup returns the state.
  std::uint32_t Lookup(std::uint64_t referrer, const SQvThumbnailDescription& desc, bool highQuality,
                       SQvPicBuf* picture) QV_EXCLUDES(m_mutex);
  void Release(std::uint64_t referrer, const SQvThumbnailDescription& desc) QV_EXCLUDES(m_mutex);

  // Appends what is new, dormant, or failed and changed since, to the queue, and wakes one worker. Those that there is
  // no memory for are left as they were, or dormant; the next lookup asks for them again.
  void Queue(const SQvThumbnailDescription* descs, std::uint32_t count) noexcept QV_EXCLUDES(m_mutex);
  void CancelAll() noexcept QV_EXCLUDES(m_mutex);
  void Cancel(const SQvThumbnailDescription* descs, std::int32_t count) QV_EXCLUDES(m_mutex);
  // Workers leave an excluded location alone.
  void Exclude(const CQvStringW& location) QV_EXCLUDES(m_mutex);
  void Include(const CQvStringW& location) QV_EXCLUDES(m_mutex);
  // Empties the queue and frees the entries that are neither referenced nor in work.
  void Purge() noexcept QV_EXCLUDES(m_mutex);
  // Makes the entries that are left forget who gives access to their records.
  void ForgetOwners() noexcept QV_EXCLUDES(m_mutex);

  // For the works that take entries of this cache.
  CPictureCount& PictureCount() noexcept { return m_pictureCount; }

  // Takes the description's entry for work on the calling thread, when there is something to do for it. Then, as after
  // every taking, evicts pictures above the limit.
  bool TakeNow(const SQvThumbnailDescription& desc, CThumbnailWork* work) QV_EXCLUDES(m_mutex);
  // Waits for a queued entry that is to be worked on and takes it; false once waiting was stopped. When more is queued
  // and another worker waits, that one is woken, so that a list of requests keeps all of them busy.
  bool WaitAndTake(CThumbnailWork* work) noexcept QV_EXCLUDES(m_mutex);
  // Ends every WaitAndTake, those under way too, until AllowWaiting.
  void StopWaiting() noexcept QV_EXCLUDES(m_mutex);
  void AllowWaiting() noexcept { m_stop = false; }

  // What a result replaces: all fields of the entry, as a worker's copy does, or its picture, state, size and, when it
  // was read anew, time.
  enum class EPublish { Everything, Picture };
  // Puts what was taken back, with its picture. Where memory is out for setting the old picture aside for those who
  // show it, the entry keeps it, and ends as failed; where it is out for noting the references that a copy overwrites,
  // they stay.
  void Publish(CThumbnailWork& work, EPublish what) noexcept QV_EXCLUDES(m_mutex);

 private:
  friend class CThumbnailCacheForTest;

  using CCacheMap = std::map<std::wstring, std::unique_ptr<SThumbnailEntry>>;

  SThumbnailEntry* FindEntry(const std::wstring& key) QV_REQUIRES(m_mutex);
  // `inserted` tells whether the entry is new: state queued, everything else empty.
  SThumbnailEntry* FindOrInsertEntry(const SQvThumbnailDescription& desc, bool* inserted) QV_REQUIRES(m_mutex);
  SThumbnailEntry* FindForRequest(const SQvThumbnailDescription& desc) QV_REQUIRES(m_mutex);
  void SetState(SThumbnailEntry* entry, std::uint32_t state) noexcept QV_REQUIRES(m_mutex);
  // Notes a use and brings the entry to its place in the eviction order.
  void StampUse(SThumbnailEntry* entry) noexcept QV_REQUIRES(m_mutex);

  void QueueOne(const SQvThumbnailDescription& desc) QV_REQUIRES(m_mutex);
  void AppendRequest(SThumbnailEntry* entry) QV_REQUIRES(m_mutex) QV_EXCLUDES(m_queueMutex);
  void PutRequestFirst(SThumbnailEntry* entry) noexcept QV_REQUIRES(m_mutex) QV_EXCLUDES(m_queueMutex);
  void Withdraw(SThumbnailEntry* entry) noexcept QV_REQUIRES(m_mutex);
  // The front of the queue; null at stop.
  SThumbnailEntry* WaitForRequest() noexcept QV_REQUIRES(m_mutex);
  bool IsToBeMade(SThumbnailEntry* entry) noexcept QV_REQUIRES(m_mutex);
  void WakeNextWorker() noexcept QV_REQUIRES(m_mutex);
  void Take(SThumbnailEntry* entry, CThumbnailWork* work) noexcept QV_REQUIRES(m_mutex);

  // Frees nothing more once memory is out for setting a picture aside that somebody shows.
  void Evict() noexcept QV_REQUIRES(m_mutex);
  // Each false, with the entry as it was, when memory is out for setting its picture aside.
  bool FreePicture(SThumbnailEntry* entry) noexcept QV_REQUIRES(m_mutex);
  bool DiscardPicture(SThumbnailEntry* entry) noexcept QV_REQUIRES(m_mutex);
  bool PublishPicture(CThumbnailWork& work) noexcept QV_REQUIRES(m_mutex);
  void PublishCopy(CThumbnailWork& work) noexcept QV_REQUIRES(m_mutex);

  CMutex m_mutex;  // the service mutex
  CMutex m_queueMutex QV_TSA(acquired_after(m_mutex));
  CCondition m_workCond;  // waited on with the service mutex
  std::atomic<bool> m_stop{false};
  std::atomic<std::uint32_t> m_cacheLimit{0};
  CCacheMap m_CacheMap QV_GUARDED_BY(m_mutex);
  CRequestQueue m_requestQueue QV_GUARDED_BY(m_queueMutex);
  std::set<std::wstring> m_excludedLocations QV_GUARDED_BY(m_mutex);
  CEvictionOrder m_evictionOrder QV_GUARDED_BY(m_mutex);
  CShownPictures m_shownPictures QV_GUARDED_BY(m_mutex);
  std::uint64_t m_useCounter QV_GUARDED_BY(m_mutex) = 0;
  CPictureCount m_pictureCount;
  int m_waitingWorkers QV_GUARDED_BY(m_mutex) = 0;
  // Called by a worker between finding nothing to do and waiting, with the service mutex held.
  std::atomic<void (*)()> m_beforeWaitForTest{nullptr};
};
