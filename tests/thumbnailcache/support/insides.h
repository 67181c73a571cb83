#pragma once

#include <cstdint>
#include <string>

#include "gnr_thumbnailcache/memory/thumbnail_cache.h"

// Friends of the component's classes: what tests see and set inside. For programs that carry the component's code
// itself.

class CThumbnailCacheForTest {
 public:
  // Which invariant of the map, the queue, the eviction order or the picture count is broken; empty when all hold. The
  // count is compared only while nothing is in work.
  static std::string FindBrokenInvariant(CThumbnailCache& cache);
  // Called by a worker between finding nothing to do and waiting, with the service mutex held. Null: nothing.
  static void SetBeforeWait(CThumbnailCache& cache, void (*hook)());
  // Workers that wait for a request at this moment.
  static int CountWaitingWorkers(CThumbnailCache& cache);
};

class CServiceForTest {
 public:
  static CThumbnailCache& Cache(IQvThumbnailCache& service);
};
