// Bytes through the manager's interface, as a host hands over what it keeps in a database: every codec, every
// operation.

#include "imageformats/iqvimageformatmanager.h"
#include "platform/imageformats/component/image_format_manager_impl.h"
#include "system/qvrtti.h"

namespace {

void Ask(IQvPictureSource& source) {
  SQvImageInfo info;
  source.GetPictureInfo(&info);
  const std::uint32_t width = 24, height = 18;
  SQvPicBuf picture;
  CQvPicBufAPI::Init(&picture);
  if (CQvPicBufAPI::Reinit(&picture, width, height, 0, 8, 3, true) == 0) {
    source.RenderPicture(&width, &height, &picture, 1, true, 0, 0, 0xFFFFFFFFu);
  }
  CQvPicBufAPI::Free(&picture);
  CQvByteArray bytes;
  source.GetCustomTag(L"QvCustomTag:ThumbailPicbuf", &bytes);
  IQvMetadataReader* reader = nullptr;
  if (source.GetMetadataReader(&reader) != 0) return;
  SQvExperiment* experiment = nullptr;
  SQvExperiment::Alloc(&experiment);
  reader->GetExperiment(experiment, 0);
  SQvExperiment::FreeRecursive(experiment);
  SQvImageTextInfo text;
  reader->GetTextInfo(&text);
  SQvPictureMetadata metadata;
  reader->GetPictureMetadata(0, &metadata, 0);
  reader->Destroy();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  IQvImageFormatManager* manager = new ("fuzzer", 1) CQvImageFormatManagerImpl;
  for (const char* name : {"JPG", "PNG", "TIF", "WSI"}) {
    IQvImageCodec* codec = nullptr;
    if (manager->GetCodecByName(name, &codec) != 0) continue;
    IQvPictureSource* source = nullptr;
    if (codec->OpenInputMemory(data, size, &source) == 0) {
      Ask(*source);
      source->Release();
    }
    CQvRTTI::Release(codec);
  }
  CQvRTTI::Release(manager);
  return 0;
}
