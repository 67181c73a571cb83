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

std::vector<CShownPictures::SHold*> CShownPictures::MakeHolds(const std::wstring& key,
                                                              const std::vector<std::uint64_t>& holders) {
  std::vector<SHold*> holds;
  for (const std::uint64_t holder : holders) holds.push_back(&m_holds[CKey(key, holder)]);
  return holds;
}

void CShownPictures::Discard(SThumbnailEntry* entry) {
  if (entry->HasPicture() && !SetAside(entry)) CQvPicBufAPI::Free(&entry->picture);
}

// Everything that needs memory comes before the first change.
bool CShownPictures::SetAside(SThumbnailEntry* entry) {
  if (!entry->IsReferenced() && m_holds.empty()) return false;
  const std::vector<std::uint64_t> holders = FindHolders(*entry);
  if (holders.empty()) return false;
  const std::vector<SHold*> holds = MakeHolds(*entry->key, holders);
  for (SHold* hold : holds) hold->pictures.reserve(hold->pictures.size() + 1);
  auto* record = new SQvPicBuf;
  CQvPicBufAPI::Init(record);
  const CSharedPicture shared(record, SFree());
  *shared = entry->picture;
  CQvPicBufAPI::Init(&entry->picture);
  for (SHold* hold : holds) {
    hold->pictures.push_back(shared);
    hold->current = false;
  }
  return true;
}

void CShownPictures::LoseReferences(const SThumbnailEntry& entry) {
  for (SHold* hold : MakeHolds(*entry.key, entry.m_RefSet.Referrers())) {
    hold->current = entry.HasPicture();
    ++hold->releasesOwed;
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
