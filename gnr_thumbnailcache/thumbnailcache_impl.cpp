#include "gnr_thumbnailcache/thumbnailcache_impl.h"

#include <cstring>

#include "system/qvstatus.h"

CQvThumbnailCacheImpl::CQvThumbnailCacheImpl() { m_listenerMutex.Init(); }

CQvThumbnailCacheImpl::~CQvThumbnailCacheImpl() {
  // Workers of a database that nobody closed would outlive the service.
  if (m_open) CloseDatabase();
  CloseConnections();
}

CQvThumbnailCacheHolder::~CQvThumbnailCacheHolder() {
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

std::int32_t CQvThumbnailCacheImpl::AddRef() { return IncrementRefCount(); }

std::int32_t CQvThumbnailCacheImpl::Release() {
  const std::int32_t count = DecrementRefCount();
  if (count == 0 && IsDeletedAtZero()) {
    ptrWrap.Clear();
    delete this;
  }
  return count;
}

const char* CQvThumbnailCacheImpl::GetClassName() const { return "CQvThumbnailCacheImpl"; }

IQvInterface* CQvThumbnailCacheImpl::QueryInterface(const char* name) {
  if (!name || std::strcmp(name, "IQvThumbnailCache") != 0) return nullptr;
  AddRef();
  return static_cast<IQvThumbnailCache*>(this);
}

void* CQvThumbnailCacheImpl::GetMostDerivedObject() { return this; }

std::int32_t CQvThumbnailCacheImpl::NotImplemented() { return kQvNotImplemented; }

std::int32_t CQvThumbnailCacheImpl::DoNothing() { return kQvOk; }

std::int32_t CQvThumbnailCacheImpl::SetHighQuality(bool on) {
  m_highQuality = on;
  return kQvOk;
}

std::int32_t CQvThumbnailCacheImpl::GetHighQuality(bool* on) {
  if (on) *on = m_highQuality;
  return kQvOk;
}

std::int32_t CQvThumbnailCacheImpl::SetThumbnailBox(std::uint32_t width, std::uint32_t height, bool highQuality) {
  (highQuality ? m_highQualityBox : m_standardBox) = SThumbnailBox{width, height};
  return kQvOk;
}

std::int32_t CQvThumbnailCacheImpl::GetThumbnailBox(bool highQuality, std::uint32_t* width, std::uint32_t* height) {
  const SThumbnailBox box = highQuality ? m_highQualityBox : m_standardBox;
  if (width) *width = box.width;
  if (height) *height = box.height;
  return kQvOk;
}

std::uint32_t CQvThumbnailCacheImpl::GetCacheLimit() { return m_cacheLimit; }

std::int32_t CQvThumbnailCacheImpl::SetCacheLimit(std::uint32_t limit) {
  m_cacheLimit = limit;
  return kQvOk;
}

bool CQvThumbnailCacheImpl::IgnoreLocation(CQvStringW) { return false; }
