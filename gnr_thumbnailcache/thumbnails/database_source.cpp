#include "gnr_thumbnailcache/platform_object.h"
#include "gnr_thumbnailcache/thumbnailcache_impl.h"
#include "gnr_thumbnailcache/thumbnails/render.h"
#include "gnr_thumbnailcache/thumbnails/thumbnail_work.h"
#include "imageformats/iqvimagedatabase.h"
#include "system/qvfile.h"
#include "system/qvstatus.h"

namespace {

using CRecordRef = CPlatformObject<IQvImageRecord, SReleaseByObject>;

// Brackets access to a host's database.
class CDatabaseAccess {
 public:
  explicit CDatabaseAccess(IQvImageDatabase& database) : m_database(database), m_status(database.BeginAccess()) {}
  CDatabaseAccess(const CDatabaseAccess&) = delete;
  CDatabaseAccess& operator=(const CDatabaseAccess&) = delete;
  ~CDatabaseAccess() { m_database.EndAccess(); }

  bool Began() const { return m_status == kQvOk; }

 private:
  IQvImageDatabase& m_database;
  std::int32_t m_status;
};

bool OpenRecordPicture(IQvImageDatabase& database, const std::wstring& location, CPictureSourceRef* source) {
  CQvVariant recordID;
  recordID.EnableTypeChange(true);
  recordID.SetInt(QV_wtoi(SQvThumbnailDescription::ExtractDBRecID(location).c_str()));
  CRecordRef record;
  return database.GetRecord(recordID, record.Out()) == kQvOk && record->Open() == kQvOk &&
         record->GetPictureSource(SQvThumbnailDescription::ExtractDBField(location), source->Out()) == kQvOk;
}

}  // namespace

// The picture source must go before the access ends, so it lives in a function of its own.
bool CQvThumbnailCacheImpl::CreateFromDatabase(CThumbnailWork& work) {
  auto* database = dynamic_cast<IQvImageDatabase*>(work.owner);
  if (!database) return false;
  const CDatabaseAccess access(*database);
  return access.Began() && CreateFromRecord(work, *database);
}

bool CQvThumbnailCacheImpl::CreateFromRecord(CThumbnailWork& work, IQvImageDatabase& database) {
  CPictureSourceRef source;
  if (!OpenRecordPicture(database, work.location, &source)) return false;
  SQvImageInfo info;
  const bool rendered = source->GetPictureInfo(&info) == kQvOk && info.width != 0 && info.height != 0 &&
                        GiveFittedShape(work, info) && RenderInto(*source.Get(), work) == kQvOk;
  if (!rendered) work.DropPicture();
  work.state = rendered ? kQvThumbnailReady : kQvThumbnailFailed;
  return rendered;
}
