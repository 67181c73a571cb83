#pragma once

#include <atomic>

#include "gnr_thumbnailcache/thumbnail_entry.h"

// A private copy of an entry that one thread works on with no lock held. It starts with the entry's picture on loan:
// the copy knows that there is one, but neither writes nor frees it, because viewers may show it. A new picture gets
// memory of its own and changes places with the old one when the copy is published.
class CThumbnailWork : public SThumbnailFields {
 public:
  explicit CThumbnailWork(std::atomic<std::uint32_t>& pictureCount) noexcept : m_pictureCount(pictureCount) {
    CQvPicBufAPI::Init(&picture);
  }
  CThumbnailWork(const CThumbnailWork&) = delete;
  CThumbnailWork& operator=(const CThumbnailWork&) = delete;
  ~CThumbnailWork() { FreeOwn(); }

  // Takes a copy of the entry, its picture on loan.
  void Borrow(CThumbnailEntry* from);
  // Forgets the entry; an unpublished picture is freed.
  void Clear() noexcept;

  bool HasPicture() const noexcept { return CQvPicBufAPI::HasPixels(picture); }
  // Gives the copy a picture of its own of that shape, all zero, counting it when there was none. False, with the
  // picture dropped, when there is no memory for it.
  bool GiveShape(std::uint32_t width, std::uint32_t height, std::uint32_t bpc);
  // Ends with no picture, uncounting the one there was.
  void DropPicture() noexcept;
  // The work ended early, by an exception.
  void Fail() noexcept {
    DropPicture();
    state = kQvThumbnailFailed;
  }

  // The picture as the thread that publishes takes it over: whether it replaces the entry's, and the pixels.
  bool ReplacesPicture() const noexcept { return !m_onLoan; }
  SQvPicBuf TakePicture() noexcept;

  CThumbnailEntry* entry = nullptr;
  bool knowsLastWritten = false;  // lastWritten was read anew
  // What this work added to the service's picture count so far.
  std::int32_t counted = 0;

 private:
  void FreeOwn() noexcept;

  std::atomic<std::uint32_t>& m_pictureCount;
  bool m_onLoan = true;
};
