#include "gnr_thumbnailcache/guarded.h"
#include "gnr_thumbnailcache/platform_object.h"
#include "gnr_thumbnailcache/textinfo/text_information.h"
#include "gnr_thumbnailcache/thumbnailcache_impl.h"
#include "gnr_thumbnailcache/thumbnails/thumbnail_work.h"
#include "system/qvstatus.h"

namespace {

bool IsWithoutPicture(const CThumbnailEntry& entry) {
  return entry.state == kQvThumbnailNone || entry.state == kQvThumbnailFailed;
}

}  // namespace

std::int32_t CQvThumbnailCacheImpl::RequestThumbnails(std::uint64_t, const SQvThumbnailDescription* descs,
                                                      std::uint32_t count, std::uint32_t, bool queue) {
  if (!descs) count = 0;
  return Guarded(kQvOk, [&] {
    if (!queue) {
      const CFormatManagerRef manager;
      for (std::uint32_t i = 0; i < count; ++i) ResolveNow(descs[i], manager.Get());
      return kQvOk;
    }
    if (count == 0) return kQvOk;
    const CQvLockGuard lock(m_mutex);
    for (std::uint32_t i = 0; i < count; ++i) QueueRequest(descs[i]);
    m_workCond.Signal();
    return kQvOk;
  });
}

bool CQvThumbnailCacheImpl::IsTakenNow(const CThumbnailEntry& entry, const SQvThumbnailDescription& desc) const {
  if (entry.state == kQvThumbnailDormant || entry.state == kQvThumbnailQueued) return true;
  return IsWithoutPicture(entry) && entry.lastWritten != desc.lastWritten;
}

void CQvThumbnailCacheImpl::ResolveNow(const SQvThumbnailDescription& desc, IQvImageFormatManager* manager) {
  CThumbnailWork work(m_pictureCount);
  {
    const CQvLockGuard lock(m_mutex);
    bool inserted = false;
    CThumbnailEntry* entry = FindOrInsertEntry(desc, &inserted);
    if (entry->state != kQvThumbnailInWork) entry->owner = desc.owner;
    // What is not taken, when memory runs out, is asked for again by the next lookup.
    if (inserted) entry->state = kQvThumbnailDormant;
    if (IsTakenNow(*entry, desc)) TakeForWork(entry, &work);
    StampUse(entry);
    EvictThumbnails();
  }
  if (!work.entry) return;
  const bool ended = Guarded(false, [&] {
    if (!ReadThumbnailFromDatabase(work, manager)) CreateAndSave(work, manager);
    return true;
  });
  if (!ended) work.Fail();
  const CQvLockGuard lock(m_mutex);
  Publish(work, EPublish::Picture);
}

void CQvThumbnailCacheImpl::CreateAndSave(CThumbnailWork& work, IQvImageFormatManager* manager) {
  STextInformation info;
  if (!CreateThumbnail(work, manager, info) || SQvThumbnailDescription::IsDBLoc(work.location)) return;
  SaveThumbnailToDatabase(work, manager);
  SaveFileTextInfoToDatabase(SQvThumbnailDescription::ExtractFilePath(work.location), info);
}

void CQvThumbnailCacheImpl::QueueRequest(const SQvThumbnailDescription& desc) {
  bool inserted = false;
  CThumbnailEntry* entry = FindOrInsertEntry(desc, &inserted);
  if (entry->state != kQvThumbnailInWork) entry->owner = desc.owner;
  if (inserted) entry->state = kQvThumbnailDormant;
  const bool again = IsWithoutPicture(*entry) && entry->lastWritten != desc.lastWritten && entry->lastWritten != 0.0;
  if (again || entry->state == kQvThumbnailDormant) {
    AppendRequest(entry);
    SetState(entry, kQvThumbnailQueued);
  }
  StampUse(entry);
}
