// What a decoder that was taken over may answer, as the viewer reads it.

#include "fuzz/imageformats/exercise.h"
#include "platform/imageformats/component/metadata_reader.h"
#include "platform/imageformats/process/image_records.h"
#include "system/qvref.h"

using namespace imageformats;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::vector<std::uint8_t> message(data, data + size);
  Attempt([&] {
    CWireReader wire(message);
    SImageMetadata metadata;
    GetImageInfo(wire, metadata.info);
    GetMetadata(wire, metadata);
    CWireWriter again;
    PutMetadata(again, metadata);
    CQvRef<IQvMetadataReader> reader(NewMetadataReader(std::move(metadata)));
    SQvExperiment* experiment = nullptr;
    SQvExperiment::Alloc(&experiment);
    reader->GetExperiment(experiment, 0);
    SQvExperiment::FreeRecursive(experiment);
  });
  return 0;
}
