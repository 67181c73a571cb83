#pragma once

#include "platform/imageformats/codec/associated_image.h"
#include "platform/imageformats/codec/codec_module.h"
#include "platform/imageformats/codec/image_metadata.h"
#include "platform/imageformats/codec/plate.h"
#include "platform/imageformats/process/wire.h"

namespace imageformats {

// What an opened image says of itself and is asked for, on the wire. Reading checks counts; whether values make sense
// is for who uses them, as it is with what a codec reads from a file.
void PutImageInfo(CWireWriter& wire, const SQvImageInfo& info);
void GetImageInfo(CWireReader& wire, SQvImageInfo& info);
void PutRenderRequest(CWireWriter& wire, const SRenderRequest& request);
void GetRenderRequest(CWireReader& wire, SRenderRequest& request);
void PutAssociated(CWireWriter& wire, const std::vector<SAssociatedImage>& images);
void GetAssociated(CWireReader& wire, std::vector<SAssociatedImage>& images);
void PutPlate(CWireWriter& wire, const SPlate& plate);
void GetPlate(CWireReader& wire, SPlate& plate);
void PutMetadata(CWireWriter& wire, const SImageMetadata& metadata);
void GetMetadata(CWireReader& wire, SImageMetadata& metadata);

}  // namespace imageformats
