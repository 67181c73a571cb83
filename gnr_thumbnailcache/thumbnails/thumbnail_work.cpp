#include "gnr_thumbnailcache/thumbnails/thumbnail_work.h"

#include "gnr_thumbnailcache/thumbnailcache_impl.h"
#include "system/qvstatus.h"

void CThumbnailWork::Borrow(CThumbnailEntry* from) {
  static_cast<SThumbnailFields&>(*this) = *from;
  entry = from;
  m_onLoan = true;
  knowsLastWritten = false;
  counted = 0;
}

void CThumbnailWork::Clear() noexcept {
  FreeOwn();
  entry = nullptr;
}

void CThumbnailWork::FreeOwn() noexcept {
  if (m_onLoan) {
    CQvPicBufAPI::Init(&picture);
  } else {
    CQvPicBufAPI::Free(&picture);
  }
  m_onLoan = true;
}

bool CThumbnailWork::GiveShape(std::uint32_t width, std::uint32_t height, std::uint32_t bpc) {
  if (!HasPicture()) {
    ++m_pictureCount;
    ++counted;
  }
  if (m_onLoan) CQvPicBufAPI::Init(&picture);
  m_onLoan = false;
  if (CQvPicBufAPI::Reinit(&picture, width, height, 0, bpc, 3, true) == kQvOk) return true;
  --m_pictureCount;
  --counted;
  return false;
}

void CThumbnailWork::DropPicture() noexcept {
  if (HasPicture()) {
    --m_pictureCount;
    --counted;
  }
  FreeOwn();
  m_onLoan = false;
}

SQvPicBuf CThumbnailWork::TakePicture() noexcept {
  const SQvPicBuf taken = picture;
  m_onLoan = true;
  return taken;
}

void CQvThumbnailCacheImpl::TakeForWork(CThumbnailEntry* entry, CThumbnailWork* work) {
  work->Borrow(entry);
  ++entry->workCount;
  SetState(entry, kQvThumbnailInWork);
}

// Swaps the new picture in. The service's count follows what really happened to the entry: another thread may have
// worked on it at the same time.
void CQvThumbnailCacheImpl::PublishPicture(CThumbnailWork& work) {
  CThumbnailEntry* entry = work.entry;
  const std::int32_t before = entry->HasPicture() ? 1 : 0;
  if (work.ReplacesPicture()) {
    m_shownPictures.Discard(entry);
    entry->picture = work.TakePicture();
  }
  const std::int32_t after = entry->HasPicture() ? 1 : 0;
  m_pictureCount += static_cast<std::uint32_t>(after - before - work.counted);
}

void CQvThumbnailCacheImpl::Publish(CThumbnailWork& work, EPublish what) {
  CThumbnailEntry* entry = work.entry;
  PublishPicture(work);
  entry->highQuality = work.highQuality;
  entry->fileSize = work.fileSize;
  if (what == EPublish::Everything || work.knowsLastWritten) entry->lastWritten = work.lastWritten;
  if (what == EPublish::Everything) {
    m_shownPictures.LoseReferences(*entry);
    entry->m_RefSet = std::move(work.m_RefSet);
    entry->owner = work.owner;
    entry->lastUse = m_useCounter++;
  }
  --entry->workCount;
  SetState(entry, work.state);
}
