#include "gnr_thumbnailcache/thumbnailcache_impl.h"

void CQvThumbnailCacheImpl::EvictThumbnails() {
  while (m_pictureCount > m_cacheLimit) {
    CThumbnailEntry* victim = m_evictionOrder.First();
    if (!victim) return;
    SetState(victim, kQvThumbnailDormant);
    FreePicture(victim);
  }
}
