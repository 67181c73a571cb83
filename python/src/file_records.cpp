#include "python/src/file_records.h"

#include "host/files/image_file.h"
#include "host/files/picture_folder.h"
#include "host/files/text_info.h"
#include "host/output/picture.h"
#include "host/session/cache_rows.h"
#include "python/src/file_failure.h"

namespace qvpython {

qvhost::CJson ReadInfo(qvhost::CSession& session, const std::string& path) {
  const std::string absolute = qvhost::AbsolutePath(qvhost::PicturePath(path));
  qvhost::STextInfo info;
  if (info.Read(session.Service(), absolute)) return info.Json();
  qvhost::CFailureReason reason;
  throw CFileError(ExplainFile(absolute, CQvStringUtils::UTF8toW(absolute), reason));
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

std::string EncodeAsStored(const std::uint8_t* pixels, std::uint32_t width, std::uint32_t height) {
  constexpr int kStoredQuality = 80;
  SQvPicBuf picture;
  CQvPicBufAPI::Init(&picture);
  picture.width = width;
  picture.height = height;
  picture.widthBytes = width * 3;
  picture.bpc = 8;
  picture.components = 3;
  picture.dataSize = std::size_t{picture.widthBytes} * height;
  picture.data = const_cast<std::uint8_t*>(pixels);  // only read
  return qvhost::EncodeJpeg(picture, kStoredQuality);
}

}  // namespace qvpython
