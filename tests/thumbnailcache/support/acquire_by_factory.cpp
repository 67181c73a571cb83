#include "tests/thumbnailcache/support/service.h"

extern "C" IQvInterface* QV_ConstructorForCQvThumbnailCacheImpl(const char* file, unsigned int line);

namespace qvtest {

IQvThumbnailCache* AcquireService() {
  return dynamic_cast<IQvThumbnailCache*>(QV_ConstructorForCQvThumbnailCacheImpl("tests", __LINE__));
}

}  // namespace qvtest
