#include "gnr_thumbnailcache/memory/shown_pictures.h"

void CShownPictures::SFree::operator()(SQvPicBuf* picture) const noexcept {
  CQvPicBufAPI::Free(picture);
  delete picture;
}

// Those in the reference set and those who hold the current picture without a reference.
std::vector<std::uint64_t> CShownPictures::FindHolders(const SThumbnailEntry& entry) {
  std::vector<std::uint64_t> holders = entry.m_RefSet.Referrers();
  for (auto i = m_holds.lower_bound(CKey(*entry.key, 0)); i != m_holds.end() && i->first.first == *entry.key; ++i) {
    if (i->second.current && !entry.m_RefSet.Contains(i->first.second)) holders.push_back(i->first.second);
  }
  return holders;
}

void CShownPictures::Discard(SThumbnailEntry* entry) {
  if (!entry->HasPicture()) return;
  if (entry->IsReferenced() || !m_holds.empty()) {
    const std::vector<std::uint64_t> holders = FindHolders(*entry);
    if (!holders.empty()) {
      auto* record = new SQvPicBuf;
      CQvPicBufAPI::Init(record);
      const CSharedPicture shared(record, SFree());
      for (const std::uint64_t holder : holders) {
        SHold& hold = m_holds[CKey(*entry->key, holder)];
        hold.pictures.push_back(shared);
        hold.current = false;
      }
      *shared = entry->picture;
      CQvPicBufAPI::Init(&entry->picture);
      return;
    }
  }
  CQvPicBufAPI::Free(&entry->picture);
}

void CShownPictures::LoseReferences(const SThumbnailEntry& entry) {
  for (const std::uint64_t referrer : entry.m_RefSet.Referrers()) {
    SHold& hold = m_holds[CKey(*entry.key, referrer)];
    hold.current = entry.HasPicture();
    ++hold.releasesOwed;
  }
}

// A viewer with a reference and a lost one gives back one of two pictures, nobody knows which: it keeps both until it
// has given back both.
void CShownPictures::Release(const std::wstring& key, std::uint64_t referrer, bool referenced) {
  if (m_holds.empty()) return;
  const auto i = m_holds.find(CKey(key, referrer));
  if (i == m_holds.end()) return;
  SHold& hold = i->second;
  if (referenced && hold.releasesOwed != 0) {
    hold.current = true;
  } else if (referenced || hold.releasesOwed <= 1) {
    m_holds.erase(i);
  } else {
    --hold.releasesOwed;
  }
}
