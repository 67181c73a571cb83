#include "python/src/file_records.h"

#include "host/files/image_file.h"
#include "host/files/picture_folder.h"
#include "host/files/text_info.h"
#include "host/session/cache_rows.h"
#include "python/src/file_failure.h"

namespace qvpython {

qvhost::CJson ReadInfo(qvhost::CSession& session, const std::string& path) {
  const std::string absolute = qvhost::AbsolutePath(qvhost::PicturePath(path));
  qvhost::STextInfo info;
  if (info.Read(session.Service(), absolute)) return info.Json();
  throw CFileError(ExplainFile(absolute, CQvStringUtils::UTF8toW(absolute)));
}

std::string ReadStoredJpeg(qvhost::CSession& session, const std::string& path, bool highQuality) {
  SQvThumbnailDescription description;
  std::string reason;
  if (!qvhost::DescribeFile(path, highQuality, &description, &reason)) {
    throw CFileError({EFailure::Unreadable, reason});
  }
  qvhost::CCacheRows rows(session.DatabasePath());
  return rows.IsCurrent(description) ? rows.ReadJpeg(description) : std::string();
}

}  // namespace qvpython
