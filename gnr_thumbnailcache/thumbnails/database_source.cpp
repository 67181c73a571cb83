#include "gnr_thumbnailcache/thumbnails/database_source.h"

#include "gnr_thumbnailcache/thumbnails/rendering.h"
#include "imageformats/iqvimagedatabase.h"
#include "system/qvfile.h"
#include "system/qvref.h"
#include "system/qvstatus.h"

namespace {

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

bool OpenRecordPicture(IQvImageDatabase& database, const std::wstring& location, CQvRef<IQvPictureSource>* source) {
  CQvVariant recordID;
  recordID.EnableTypeChange(true);
  recordID.SetInt(QV_wtoi(SQvThumbnailDescription::ExtractDBRecID(location).c_str()));
  CQvRef<IQvImageRecord> record;
  return database.GetRecord(recordID, record.Out()) == kQvOk && record->Open() == kQvOk &&
         record->GetPictureSource(SQvThumbnailDescription::ExtractDBField(location), source->Out()) == kQvOk;
}

bool CreateFromRecord(CThumbnailWork& work, IQvImageDatabase& database, const SThumbnailSettings& settings) {
  CQvRef<IQvPictureSource> source;
  if (!OpenRecordPicture(database, work.location, &source)) return false;
  SQvImageInfo info;
  const bool rendered = source->GetPictureInfo(&info) == kQvOk && info.width != 0 && info.height != 0 &&
                        ReinitFitted(work, info, settings) && RenderInto(*source, work) == kQvOk;
  if (!rendered) work.DropPicture();
  work.state = rendered ? kQvThumbnailReady : kQvThumbnailFailed;
  return rendered;
}

}  // namespace

// The picture source must go before the access ends, so it lives in a function of its own.
bool CreateFromDatabase(CThumbnailWork& work, const SThumbnailSettings& settings) {
  auto* database = dynamic_cast<IQvImageDatabase*>(work.owner);
  if (!database) return false;
  const CDatabaseAccess access(*database);
  return access.Began() && CreateFromRecord(work, *database, settings);
}
