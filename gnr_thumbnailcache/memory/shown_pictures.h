#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "gnr_thumbnailcache/memory/thumbnail_entry.h"
#include "picture/qvpicbuf.h"

// Keeps the promise that a viewer's pixels stay valid from GetCachedThumbnail to ReleaseThumbnail, whatever happens to
// the entry in between. As a rule the entry's reference set does that; this class holds the exceptions: pictures that
// an entry gave up while somebody showed them, and references that an entry lost because a worker's copy of it was
// published over them. Guarded by the service mutex.
class CShownPictures {
 public:
  // Takes over the entry's picture and leaves the entry without one. The pixels are freed, at once when nobody shows
  // them, else with the last ReleaseThumbnail. Throws std::bad_alloc with nothing changed.
  void Discard(SThumbnailEntry* entry);
  // The entry is about to lose its references but not its viewers. Throws std::bad_alloc with nothing changed.
  void LoseReferences(const SThumbnailEntry& entry);
  // A viewer gives a picture back. `referenced`: it stands in the entry's reference set, which loses it now.
  void Release(const std::wstring& key, std::uint64_t referrer, bool referenced);

  bool IsEmpty() const noexcept { return m_holds.empty(); }

 private:
  struct SFree {
    void operator()(SQvPicBuf* picture) const noexcept;
  };
  using CSharedPicture = std::shared_ptr<SQvPicBuf>;

  // What one viewer holds of one entry beyond what the reference set says. One that says nothing does no harm.
  struct SHold {
    bool current = false;            // the picture that the entry has now
    std::uint32_t releasesOwed = 0;  // references that were lost, each still to be given back
    std::vector<CSharedPicture> pictures;
  };
  using CKey = std::pair<std::wstring, std::uint64_t>;

  std::vector<std::uint64_t> FindHolders(const SThumbnailEntry& entry);
  // The holds of these viewers, new ones where there are none.
  std::vector<SHold*> MakeHolds(const std::wstring& key, const std::vector<std::uint64_t>& holders);
  // Shares the entry's picture out to those who hold it. False when nobody does.
  bool SetAside(SThumbnailEntry* entry);

  std::map<CKey, SHold> m_holds;
};
