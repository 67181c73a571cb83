#pragma once

#include <cstdint>
#include <string>

#include "gnr_thumbnailcache/memory/reference_set.h"
#include "picture/qvpicbuf.h"
#include "system/qvclass.h"
#include "thumbnailcache/iqvthumbnailcache.h"

// What is known of one thumbnail. Copying shares the pixels.
struct SThumbnailFields {
  std::wstring location;    // lower-cased, without the quality suffix
  std::uint32_t flags = 0;  // as requested; non-zero asks for high quality
  std::uint32_t state = kQvThumbnailQueued;
  SQvPicBuf picture{};            // 8 bits, 3 components; empty when there is none
  double lastWritten = 0.0;       // of the source, Julian day number; 0 unknown
  std::uint64_t lastUse = 0;      // value of the service's use counter
  bool highQuality = false;       // the picture was made for the high-quality box
  std::int64_t fileSize = 0;      // bytes
  IQvInterface* owner = nullptr;  // of a database location; not owned
  CReferenceSet m_RefSet;
};

// An entry of the map, which CThumbnailCache alone reads and changes, under its service mutex. It owns its picture.
//
// Invariants: queueCount is the number of times the entry stands in the request queue; workCount the number of threads
// that work on a copy of it, and while it is not 0 the entry is neither evicted nor purged; the entry is linked into
// the eviction order exactly when IsEvictable.
struct SThumbnailEntry : SThumbnailFields {
  SThumbnailEntry() { CQvPicBufAPI::Init(&picture); }
  SThumbnailEntry(const SThumbnailEntry&) = delete;
  SThumbnailEntry& operator=(const SThumbnailEntry&) = delete;
  ~SThumbnailEntry() { CQvPicBufAPI::Free(&picture); }

  bool HasPicture() const noexcept { return CQvPicBufAPI::HasPixels(picture); }
  bool IsReferenced() const noexcept { return !m_RefSet.IsEmpty(); }
  bool IsEvictable() const noexcept {
    return !IsReferenced() && (state == kQvThumbnailReady || state == kQvThumbnailStale) && workCount == 0;
  }
  // Both report the assertion of a set that is not as the caller believes, and then leave it.
  void AddReferrer(std::uint64_t referrer);
  void RemoveReferrer(std::uint64_t referrer);

  const std::wstring* key = nullptr;         // the map's
  std::uint32_t queueCount = 0;              // changed by CRequestQueue
  std::uint32_t workCount = 0;               // changed where work is taken and published
  SThumbnailEntry* evictedBefore = nullptr;  // changed by CEvictionOrder
  SThumbnailEntry* evictedAfter = nullptr;
  bool inEvictionOrder = false;
};
