#include "gnr_thumbnailcache/thumbnails/file_identity.h"

#include <algorithm>

#include "system/qvdatetime.h"
#include "system/qvfile.h"
#include "system/qvstatus.h"
#include "system/qvthumbnaildescription.h"

namespace {

double LaterJulianDay(const CQvDateTime& a, const CQvDateTime& b) {
  return std::max(a.GetJulianDayNumber(), b.GetJulianDayNumber());
}

CQvDateTime FromFindTime(const SQvFileTime& time) {
  constexpr CQvDateTime::TimeZone kUtc = 0;
  CQvDateTime result;
  result.Set(CQvDateTime::Tm(time), kUtc);
  return result;
}

void IdentifyUnopened(const CQvStringW& path, std::int64_t* size, double* lastWritten) {
  SQvFindData data;
  QvFindHandle find = nullptr;
  if (QV_FindFileFirst(path.c_str(), &data, &find) != kQvOk) return;
  *size = data.size;
  *lastWritten = LaterJulianDay(FromFindTime(data.creationTime), FromFindTime(data.lastWriteTime));
  QV_FindFileClose(find);
}

}  // namespace

std::int32_t GetFileIdentity(const std::wstring& location, std::int64_t* size, double* lastWritten) {
  const CQvStringW path = SQvThumbnailDescription::ExtractFilePath(location);
  QvFileHandle file{};
  if (QV_OpenFile(path.c_str(), kQvFileRead, kQvShareRead | kQvShareWrite, kQvAnyAttributes, &file) != kQvOk) {
    IdentifyUnopened(path, size, lastWritten);
    return kQvFailure;
  }
  SQvFileTime creation, lastWrite;
  QV_GetFileSize(file, size);
  QV_GetFileTimes(file, &creation, nullptr, &lastWrite);
  *lastWritten = LaterJulianDay(CQvDateTime(creation), CQvDateTime(lastWrite));
  QV_CloseFile(file);
  return kQvOk;
}
