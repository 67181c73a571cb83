#include "gnr_thumbnailcache/base/guarded.h"
#include "gnr_thumbnailcache/service/thumbnailcache_impl.h"
#include "gnr_thumbnailcache/thumbnails/making_thread.h"
#include "system/qvrtti_records.h"

// One class, then the empty text that ends the list.
extern "C" QV_EXPORT const char16_t QV_RegistrationData[];
const char16_t QV_RegistrationData[] =
    u"<variant version=\"1.0\"><CQvThumbnailCacheImpl runtype=\"RQvRttiClass\">"
    u"<m_parent1 runtype=\"CQvStringW\" value=\"IQvThumbnailCache\"/>"
    u"<m_parent2 runtype=\"CQvStringW\" value=\"\"/><m_parent3 runtype=\"CQvStringW\" value=\"\"/>"
    u"<m_parent4 runtype=\"CQvStringW\" value=\"\"/><m_parent5 runtype=\"CQvStringW\" value=\"\"/>"
    u"<m_parent6 runtype=\"CQvStringW\" value=\"\"/><m_parent7 runtype=\"CQvStringW\" value=\"\"/>"
    u"<m_parent8 runtype=\"CQvStringW\" value=\"\"/><m_parent9 runtype=\"CQvStringW\" value=\"\"/>"
    u"<m_additional runtype=\"CQvListVariant\"><m_singleton runtype=\"bool\" value=\"true\"/></m_additional>"
    u"</CQvThumbnailCacheImpl></variant>\0";

CQvThumbnailCacheHolder CQvThumbnailCacheImpl::ptrWrap;

// A process that ends from inside a listener leaves the service to the system: deleting it would wait for that
// listener. So does one that was forked from the process which has the database open, whose workers it would wait for.
CQvThumbnailCacheHolder::~CQvThumbnailCacheHolder() {
  if (CMakingThread::IsHere() || (m_instance && m_instance->IsOpenElsewhere())) return;
  delete m_instance;
  m_instance = nullptr;
}

CQvThumbnailCacheImpl* CQvThumbnailCacheHolder::getPtr(const char* file, unsigned int line) {
  if (m_instance) {
    m_instance->AddRef();
  } else {
    m_instance = new (file, line) CQvThumbnailCacheImpl;
  }
  return m_instance;
}

// The service with a reference for the caller; null when there is none. The registry calls it one thread at a time.
extern "C" QV_EXPORT IQvInterface* QV_ConstructorForCQvThumbnailCacheImpl(const char* file, unsigned int line) {
  return Guarded<IQvInterface*>(nullptr, [&]() -> IQvInterface* {
    return static_cast<IQvThumbnailCache*>(CQvThumbnailCacheImpl::ptrWrap.getPtr(file, line));
  });
}
