#pragma once

#include "gnr_thumbnailcache/memory/picture_count.h"
#include "gnr_thumbnailcache/memory/thumbnail_entry.h"

// A private copy of an entry that one thread works on with no lock held. The cache fills it when the entry is taken and
// reads it when the result is published. It starts with the entry's picture on loan: the copy knows that there is one,
// but neither writes nor frees it, because viewers may show it. A new picture gets memory of its own and changes places
// with the old one when the copy is published.
class CThumbnailWork : public SThumbnailFields {
 public:
  explicit CThumbnailWork(CPictureCount& pictureCount) noexcept : m_pictureCount(pictureCount) {
    CQvPicBufAPI::Init(&picture);
  }
  CThumbnailWork(const CThumbnailWork&) = delete;
  CThumbnailWork& operator=(const CThumbnailWork&) = delete;
  ~CThumbnailWork() { FreeOwnPicture(); }

  // Frees a picture that was not published.
  void Clear() noexcept { FreeOwnPicture(); }

  bool HasPicture() const noexcept { return CQvPicBufAPI::HasPixels(picture); }
  // Gives the copy a picture of its own of that shape, all zero, 3 components, counting it when there was none. False,
  // with the picture dropped, when there is no memory for it.
  bool ReinitPicture(std::uint32_t width, std::uint32_t height, std::uint32_t bpc);
  // Ends with no picture, uncounting the one there was.
  void DropPicture() noexcept;
  // The work ended early, by an exception.
  void Fail() noexcept {
    DropPicture();
    state = kQvThumbnailFailed;
  }

  // False when memory ran out while the entry was copied: the work holds nothing, and ends as failed.
  bool IsComplete() const noexcept { return m_complete; }

  // Whether lastWritten was read anew, from the row or the file.
  bool knowsLastWritten = false;

 private:
  friend class CThumbnailCache;

  void Borrow(SThumbnailEntry* entry) noexcept;
  SQvPicBuf DetachPicture() noexcept;
  void FreeOwnPicture() noexcept;
  void CountPicture(std::int32_t change) noexcept;

  CPictureCount& m_pictureCount;
  SThumbnailEntry* m_entry = nullptr;
  // What this work added to the count so far.
  std::int32_t m_counted = 0;
  // Whether `picture` is the entry's, or none at all.
  bool m_onLoan = true;
  bool m_complete = false;
};
