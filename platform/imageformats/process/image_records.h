#pragma once

#include "platform/imageformats/codec/associated_image.h"
#include "platform/imageformats/codec/image_metadata.h"
#include "platform/imageformats/process/wire.h"

namespace imageformats {

// What an opened image says of itself, on the wire. Reading checks counts; whether values make sense is for who uses
// them, as it is with what a codec reads from a file.
void PutImageInfo(CWireWriter& wire, const SQvImageInfo& info);
void GetImageInfo(CWireReader& wire, SQvImageInfo& info);
void PutAssociated(CWireWriter& wire, const std::vector<SAssociatedImage>& images);
void GetAssociated(CWireReader& wire, std::vector<SAssociatedImage>& images);
void PutMetadata(CWireWriter& wire, const SImageMetadata& metadata);
void GetMetadata(CWireReader& wire, SImageMetadata& metadata);

}  // namespace imageformats
