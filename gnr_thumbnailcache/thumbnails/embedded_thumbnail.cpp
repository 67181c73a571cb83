#include "gnr_thumbnailcache/thumbnails/embedded_thumbnail.h"

#include <cstring>

#include "gnr_thumbnailcache/platform_object.h"
#include "system/qvstatus.h"

namespace {

// The tags' names are spelled so in the files.
constexpr const wchar_t* kJpegTag = L"QvCustomTag:ThumbailJpg";
constexpr const wchar_t* kPixelsTag = L"QvCustomTag:ThumbailPicbuf";

// Owns a picture for the length of a function.
class CTemporaryPicture {
 public:
  CTemporaryPicture() { CQvPicBufAPI::Init(&m_picture); }
  CTemporaryPicture(const CTemporaryPicture&) = delete;
  CTemporaryPicture& operator=(const CTemporaryPicture&) = delete;
  ~CTemporaryPicture() { CQvPicBufAPI::Free(&m_picture); }

  bool GiveShape(std::uint32_t width, std::uint32_t height) {
    return CQvPicBufAPI::Reinit(&m_picture, width, height, 0, 8, 3, false) == kQvOk;
  }
  bool StretchInto(SQvPicBuf* destination) const {
    return CQvPicBufAPI_GeomTrans::Stretch(destination, &m_picture, CQvPicBufAPI_GeomTrans::kStretchArea) == kQvOk;
  }
  // Gives up ownership without freeing.
  void Leave() { CQvPicBufAPI::Init(&m_picture); }

  SQvPicBuf m_picture;
};

bool StretchJpeg(const CQvByteArray& stream, IQvImageFormatManager& manager, SQvPicBuf* picture) {
  CCodecRef codec;
  CPictureSourceRef source;
  SQvImageInfo info;
  if (manager.GetCodecByName("JPG", codec.Out()) != kQvOk ||
      codec->OpenInputMemory(stream.GetData(0), stream.GetSize(), source.Out()) != kQvOk ||
      source->GetPictureInfo(&info) != kQvOk || info.bpcSignificant != 8 || info.components != 3) {
    return false;
  }
  CTemporaryPicture temporary;
  return temporary.GiveShape(info.width, info.height) && source->ReadPicture(&temporary.m_picture, 0, 0) == kQvOk &&
         temporary.StretchInto(picture);
}

bool StretchPixels(const CQvByteArray& pixels, const SQvImageInfo& info, SQvPicBuf* picture) {
  CTemporaryPicture temporary;
  if (!temporary.GiveShape(info.width, info.height) || pixels.GetSize() != temporary.m_picture.dataSize) return false;
  std::memcpy(temporary.m_picture.data, pixels.GetData(0), pixels.GetSize());
  if (!temporary.StretchInto(picture)) return false;
  // Stays allocated, as it stands: the original picture is kept for as long as the process runs.
  temporary.Leave();
  return true;
}

}  // namespace

EEmbeddedThumbnail TakeEmbeddedThumbnail(IQvPictureSource& source, IQvImageFormatManager& manager,
                                         const SQvImageInfo& info, SQvPicBuf* picture) {
  CQvByteArray bytes;
  bool taken = false;
  if (source.GetCustomTag(kJpegTag, &bytes) == kQvOk) {
    taken = StretchJpeg(bytes, manager, picture);
  } else if (source.GetCustomTag(kPixelsTag, &bytes) == kQvOk) {
    taken = StretchPixels(bytes, info, picture);
  }
  return taken ? EEmbeddedThumbnail::Taken : EEmbeddedThumbnail::Unusable;
}
