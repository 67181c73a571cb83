// Bytes through the manager's interface, as a host hands over what it keeps in a database: every codec, every
// operation.

#include <cstdlib>

#include "imageformats/iqvimageformatmanager.h"
#include "picture/qvpicture.h"
#include "platform/imageformats/component/image_format_manager_impl.h"
#include "platform/imageformats/component/picture_source.h"
#include "system/qvref.h"

namespace {

using imageformats::kAllChannels;
using imageformats::kOverviewMode;

void AskAll(IQvPictureSource& source) {
  SQvImageInfo info;
  source.GetPictureInfo(&info);
  const std::uint32_t width = 24, height = 18;
  CQvPicture picture;
  if (picture.Reinit(width, height, 8, 3, true)) {
    source.RenderPicture(&width, &height, picture.Get(), kOverviewMode, true, 0, 0, kAllChannels);
  }
  CQvByteArray bytes;
  source.GetCustomTag(L"QvCustomTag:ThumbailPicbuf", &bytes);
  CQvRef<IQvMetadataReader> reader;
  if (source.GetMetadataReader(reader.Out()) != 0) return;
  SQvExperiment* experiment = nullptr;
  SQvExperiment::Alloc(&experiment);
  reader->GetExperiment(experiment, 0);
  SQvExperiment::FreeRecursive(experiment);
  SQvImageTextInfo text;
  reader->GetTextInfo(&text);
  SQvPictureMetadata metadata;
  reader->GetPictureMetadata(0, &metadata, 0);
}

}  // namespace

// What is to be found is in this process.
extern "C" int LLVMFuzzerInitialize(int*, char***) { return setenv("QV_DECODER", "inprocess", 1); }

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const CQvRef<IQvImageFormatManager> manager(new ("fuzzer", 1) CQvImageFormatManagerImpl);
  for (const char* name : {"JPG", "PNG", "TIF", "WSI"}) {
    CQvRef<IQvImageCodec> codec;
    if (manager->GetCodecByName(name, codec.Out()) != 0) continue;
    CQvRef<IQvPictureSource> source;
    if (codec->OpenInputMemory(data, size, source.Out()) == 0) AskAll(*source);
  }
  return 0;
}
