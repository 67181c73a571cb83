#include "tests/thumbnailcache/model/cache_model.h"

#include <algorithm>
#include <utility>

#include "system/qvstatus.h"
#include "thumbnailcache/iqvthumbnailcache.h"

namespace qvtest {

// The map is in the order of the service's keys: a quality suffix '@A' sorts before '@N', as false before true; no
// location here is a prefix of another.

CCacheModel::SEntry& CCacheModel::FindOrAdd(const std::wstring& location, std::uint32_t flags, bool* added) {
  const auto [found, isNew] = entries.try_emplace(KeyOf(location, flags));
  *added = isNew;
  if (isNew) {
    found->second.location = location;
    found->second.flags = flags;
    found->second.state = kQvThumbnailQueued;
  }
  return found->second;
}

CCacheModel::SLookup CCacheModel::Get(std::uint64_t referrer, const std::wstring& location, std::uint32_t flags,
                                      double lastWritten) {
  const auto found = entries.find(KeyOf(location, flags));
  if (found == entries.end()) return {};
  SEntry& entry = found->second;
  if (entry.state == kQvThumbnailDormant) {
    entry.state = kQvThumbnailQueued;
    m_queue.push_back(found->first);
  }
  if (entry.state == kQvThumbnailReady) {
    const bool worse = !entry.highQuality && highQuality;
    const bool news = entry.lastWritten != 0 && lastWritten != 0 && entry.lastWritten != lastWritten;
    if (worse || (news && !sources[location].isRecord)) entry.state = kQvThumbnailStale;
  }
  if (entry.state != kQvThumbnailReady && entry.state != kQvThumbnailStale) return {entry.state};
  entry.referrers.insert(referrer);
  return {entry.state, true, entry.content};
}

void CCacheModel::Release(std::uint64_t referrer, const std::wstring& location, std::uint32_t flags,
                          double lastWritten) {
  const Key key = KeyOf(location, flags);
  SEntry& entry = entries.at(key);
  entry.referrers.erase(referrer);
  entry.lastUse = m_useCounter++;
  if (sources[location].isRecord && entry.lastWritten != lastWritten) {
    entry.lastWritten = lastWritten;
    entry.state = kQvThumbnailStale;
  }
  if (!entry.referrers.empty() || entry.state != kQvThumbnailStale) return;
  std::erase(m_queue, key);
  m_queue.push_front(key);
}

void CCacheModel::RequestNow(const std::wstring& location, std::uint32_t flags, double lastWritten, bool owned) {
  bool added = false;
  SEntry& entry = FindOrAdd(location, flags, &added);
  const bool again =
      (entry.state == kQvThumbnailNone || entry.state == kQvThumbnailFailed) && entry.lastWritten != lastWritten;
  const bool taken = added || entry.state == kQvThumbnailDormant || entry.state == kQvThumbnailQueued || again;
  if (entry.state != kQvThumbnailInWork) entry.owned = owned;
  if (taken) entry.state = kQvThumbnailInWork;
  entry.lastUse = m_useCounter++;
  Evict();
  if (taken) Resolve(entry, false);
}

void CCacheModel::Queue(const std::wstring& location, std::uint32_t flags, double lastWritten, bool owned) {
  bool added = false;
  SEntry& entry = FindOrAdd(location, flags, &added);
  if (entry.state != kQvThumbnailInWork) entry.owned = owned;
  const bool again = (entry.state == kQvThumbnailNone || entry.state == kQvThumbnailFailed) &&
                     entry.lastWritten != lastWritten && entry.lastWritten != 0.0;
  if (added || entry.state == kQvThumbnailDormant || again) {
    entry.state = kQvThumbnailQueued;
    m_queue.push_back(KeyOf(location, flags));
  }
  entry.lastUse = m_useCounter++;
}

void CCacheModel::CancelAll() {
  for (const Key& key : m_queue) {
    SEntry& entry = entries.at(key);
    if (entry.state == kQvThumbnailQueued) entry.state = kQvThumbnailDormant;
    if (entry.state == kQvThumbnailStale) entry.state = kQvThumbnailReady;
  }
  m_queue.clear();
}

void CCacheModel::Cancel(const std::wstring& location, std::uint32_t flags) {
  const auto found = entries.find(KeyOf(location, flags));
  if (found == entries.end()) return;
  if (found->second.state == kQvThumbnailQueued) found->second.state = kQvThumbnailDormant;
  if (found->second.state == kQvThumbnailStale) found->second.state = kQvThumbnailReady;
}

void CCacheModel::Purge() {
  m_queue.clear();
  for (auto entry = entries.begin(); entry != entries.end();) {
    const bool unused = entry->second.state != kQvThumbnailInWork && entry->second.referrers.empty();
    if (unused) DropPicture(entry->second);
    entry = unused ? entries.erase(entry) : std::next(entry);
  }
}

void CCacheModel::DropPicture(SEntry& entry) {
  if (!entry.hasPicture) return;
  entry.hasPicture = false;
  entry.content = -1;
  if (pictures > 0) --pictures;
}

void CCacheModel::Evict() {
  while (pictures > limit) {
    SEntry* victim = nullptr;
    for (auto& [key, entry] : entries)
      if (entry.referrers.empty() && (entry.state == kQvThumbnailReady || entry.state == kQvThumbnailStale) &&
          (!victim || entry.lastUse < victim->lastUse))
        victim = &entry;
    if (!victim) return;
    victim->state = kQvThumbnailDormant;
    DropPicture(*victim);
  }
}

bool CCacheModel::ReadRow(SEntry& entry) {
  const auto row = rows.find({entry.location, entry.flags});
  if (row == rows.end()) {
    entry.state = entry.hasPicture ? kQvThumbnailStale : kQvThumbnailNone;
    return false;
  }
  StartPicture(entry);
  entry.content = row->second.content;
  entry.lastWritten = row->second.lastWritten;
  entry.highQuality = row->second.highQuality;
  entry.state = kQvThumbnailReady;
  return true;
}

void CCacheModel::StartPicture(SEntry& entry) {
  if (!entry.hasPicture) ++pictures;
  entry.hasPicture = true;
}

bool CCacheModel::Render(SEntry& entry) {
  SSource& source = sources[entry.location];
  entry.content = source.renders++;
  if (source.renderResult == 0) {
    entry.state = kQvThumbnailReady;
    return true;
  }
  DropPicture(entry);
  entry.state =
      source.renderResult == kQvUnsupported && !source.isRecord ? kQvThumbnailUnavailable : kQvThumbnailFailed;
  return false;
}

bool CCacheModel::Create(SEntry& entry) {
  const SSource& source = sources[entry.location];
  if (source.isRecord) {
    if (!entry.owned) return false;
  } else if (!source.exists) {
    DropPicture(entry);
    entry.state = kQvThumbnailNone;
    return false;
  } else {
    entry.lastWritten = source.written;
  }
  entry.highQuality = highQuality;
  StartPicture(entry);
  return Render(entry);
}

void CCacheModel::Save(const SEntry& entry) {
  if (sources[entry.location].isRecord) return;
  rows[{entry.location, entry.flags}] = {entry.content, entry.lastWritten, entry.highQuality};
}

void CCacheModel::Resolve(SEntry& entry, bool stale) {
  if (!stale && ReadRow(entry)) return;
  if (Create(entry)) Save(entry);
}

bool CCacheModel::Take(SEntry* entry) {
  if (!entry->referrers.empty() || excluded.contains(entry->location)) {
    entry->state = kQvThumbnailDormant;
    return false;
  }
  return entry->state == kQvThumbnailQueued || entry->state == kQvThumbnailStale;
}

// Only for sources that are rendered without fail, so that the picture is counted while it is being made.
void CCacheModel::Begin() {
  const Key key = m_queue.front();
  m_queue.pop_front();
  SEntry& entry = entries.at(key);
  entry.state = kQvThumbnailInWork;
  Evict();
  entry.highQuality = highQuality;
  StartPicture(entry);
  entry.content = sources[entry.location].renders++;
  m_inWork.push_back(key);
}

std::wstring CCacheModel::Finish() {
  SEntry& entry = entries.at(m_inWork.front());
  m_inWork.erase(m_inWork.begin());
  entry.state = kQvThumbnailReady;
  entry.lastUse = m_useCounter++;
  return entry.location;
}

std::vector<std::wstring> CCacheModel::Process() {
  std::vector<std::wstring> told;
  while (!m_queue.empty()) {
    SEntry& entry = entries.at(m_queue.front());
    m_queue.pop_front();
    if (!Take(&entry)) continue;
    // The worker's copy keeps the state in which it was taken.
    const std::uint32_t taken = std::exchange(entry.state, 2);
    Evict();
    entry.state = taken;
    Resolve(entry, taken == kQvThumbnailStale);
    entry.lastUse = m_useCounter++;
    told.push_back(entry.location);
  }
  return told;
}

}  // namespace qvtest
