#include "system/qvrtti.h"
#include "tests/thumbnailcache/support/service.h"

namespace qvtest {

IQvThumbnailCache* AcquireService() {
  UseInstalledComponents();
  IQvInterface* object =
      CQvRTTI::CreateAndQuery("CQvThumbnailCacheImpl", "IQvThumbnailCache", SQvFileLine("tests", __LINE__));
  return dynamic_cast<IQvThumbnailCache*>(object);
}

}  // namespace qvtest
