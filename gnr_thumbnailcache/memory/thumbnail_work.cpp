#include "gnr_thumbnailcache/memory/thumbnail_work.h"

#include "gnr_thumbnailcache/base/guarded.h"
#include "system/qvstatus.h"

void CThumbnailWork::Borrow(SThumbnailEntry* entry) noexcept {
  m_entry = entry;
  m_onLoan = true;
  knowsLastWritten = false;
  m_counted = 0;
  m_complete = Guarded(false, [&] { return static_cast<SThumbnailFields&>(*this) = *entry, true; });
  if (m_complete) return;
  location.clear();
  CQvPicBufAPI::Init(&picture);
}

void CThumbnailWork::FreeOwnPicture() noexcept {
  if (m_onLoan) {
    CQvPicBufAPI::Init(&picture);
  } else {
    CQvPicBufAPI::Free(&picture);
  }
  m_onLoan = true;
}

void CThumbnailWork::CountPicture(std::int32_t change) noexcept {
  m_counted += change;
  m_pictureCount.Add(change);
}

bool CThumbnailWork::ReinitPicture(std::uint32_t width, std::uint32_t height, std::uint32_t bpc) {
  if (!HasPicture()) CountPicture(1);
  if (m_onLoan) CQvPicBufAPI::Init(&picture);
  m_onLoan = false;
  if (CQvPicBufAPI::Reinit(&picture, width, height, 0, bpc, 3, true) == kQvOk) return true;
  CountPicture(-1);
  return false;
}

void CThumbnailWork::DropPicture() noexcept {
  if (HasPicture()) CountPicture(-1);
  FreeOwnPicture();
  m_onLoan = false;
}

SQvPicBuf CThumbnailWork::DetachPicture() noexcept {
  const SQvPicBuf detached = picture;
  m_onLoan = true;
  return detached;
}
