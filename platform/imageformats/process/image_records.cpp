#include "platform/imageformats/process/image_records.h"

namespace imageformats {

namespace {

// Loops become a chain that is freed by recursion; lists are bounded by the message.
constexpr std::size_t kMaxLoops = 32;
constexpr std::size_t kMaxListed = 1u << 20;
constexpr std::size_t kMaxAssociated = 1000;

template <class Wire, class Info>
void Transfer(Wire& wire, Info& info) {
  wire.Value(info.width);
  wire.Value(info.widthBytes);
  wire.Value(info.height);
  wire.Value(info.components);
  wire.Value(info.bpcInMemory);
  wire.Value(info.bpcSignificant);
  wire.Value(info.pixelType);
  wire.Value(info.sequenceCount);
  wire.Value(info.tileWidth);
  wire.Value(info.tileHeight);
  wire.Value(info.compression);
  wire.Value(info.compressionParam);
}

template <class Wire, class Texts>
void TransferTexts(Wire& wire, Texts& text) {
  wire.Text(text.imageID);
  wire.Text(text.type);
  wire.Text(text.group);
  wire.Text(text.sampleID);
  wire.Text(text.author);
  wire.Text(text.description);
  wire.Text(text.capturing);
  wire.Text(text.sampling);
  wire.Text(text.location);
  wire.Text(text.date);
  wire.Text(text.conclusion);
  wire.Text(text.info1);
  wire.Text(text.info2);
  wire.Text(text.optics);
}

template <class Wire, class Picture>
void TransferPicture(Wire& wire, Picture& picture) {
  wire.List(picture.planes.planes, kMaxListed, [&](auto& plane) {
    wire.Text(plane.name);
    wire.Value(plane.color);
    wire.Value(plane.excitationWavelength);
    wire.Value(plane.emissionWavelength);
    wire.Value(plane.modality);
    wire.Value(plane.components);
  });
  wire.Value(picture.calibration);
  wire.Value(picture.zStep);
  wire.Text(picture.objectiveName);
  wire.Value(picture.objectiveMagnification);
  wire.Value(picture.numericalAperture);
  wire.Value(picture.acquisitionTime);
}

template <class Wire, class Loop>
void TransferLoop(Wire& wire, Loop& loop) {
  wire.Value(loop.type);
  wire.Value(loop.size);
  wire.Value(loop.step);
  wire.List(loop.positions, kMaxListed, [&](auto& position) {
    wire.Value(position.x);
    wire.Value(position.y);
    wire.Value(position.z);
    wire.Text(position.name);
  });
  wire.List(loop.channels, kMaxListed, [&](auto& channel) {
    wire.Text(channel.name);
    wire.Value(channel.color);
    wire.Value(channel.excitationWavelength);
    wire.Value(channel.emissionWavelength);
    wire.Value(channel.exposureTime);
  });
}

template <class Wire, class Metadata>
void TransferMetadata(Wire& wire, Metadata& metadata) {
  Transfer(wire, metadata.info);
  TransferTexts(wire, metadata.text);
  TransferPicture(wire, metadata.picture);
  wire.Value(metadata.calibration);
  wire.Value(metadata.aspect);
  wire.Text(metadata.objective);
  wire.Value(metadata.acquisitionTime);
  wire.List(metadata.loops, kMaxLoops, [&](auto& loop) { TransferLoop(wire, loop); });
}

template <class Wire, class Request>
void TransferRequest(Wire& wire, Request& request) {
  wire.Value(request.width);
  wire.Value(request.height);
  wire.Value(request.fast);
  wire.Value(request.channels);
  wire.Value(request.view.z);
  wire.Value(request.view.t);
  wire.Value(request.view.position);
  wire.Value(request.view.channels);
  wire.Value(request.view.stretchTogether);
}

template <class Wire, class Images>
void TransferAssociated(Wire& wire, Images& images) {
  wire.List(images, kMaxAssociated, [&](auto& image) {
    wire.Text(image.name);
    wire.Value(image.size.width);
    wire.Value(image.size.height);
  });
}

template <class Wire, class Plate>
void TransferPlate(Wire& wire, Plate& plate) {
  wire.Text(plate.name);
  wire.Value(plate.rows);
  wire.Value(plate.columns);
  wire.List(plate.wells, kMaxListed, [&](auto& well) {
    wire.Value(well.row);
    wire.Value(well.column);
    wire.Value(well.fields);
    wire.Text(well.location);
    wire.Value(well.isHidden);
    wire.Value(well.size.width);
    wire.Value(well.size.height);
  });
}

}  // namespace

void PutImageInfo(CWireWriter& wire, const SQvImageInfo& info) { Transfer(wire, info); }
void GetImageInfo(CWireReader& wire, SQvImageInfo& info) { Transfer(wire, info); }
void PutRenderRequest(CWireWriter& wire, const SRenderRequest& request) {
  TransferRequest(wire, request);
  wire.Value(static_cast<std::uint32_t>(request.view.planes));
}
void GetRenderRequest(CWireReader& wire, SRenderRequest& request) {
  TransferRequest(wire, request);
  request.view.planes = static_cast<EPlaneChoice>(wire.Get<std::uint32_t>());
}
void PutAssociated(CWireWriter& wire, const std::vector<SAssociatedImage>& images) { TransferAssociated(wire, images); }
void GetAssociated(CWireReader& wire, std::vector<SAssociatedImage>& images) { TransferAssociated(wire, images); }
void PutPlate(CWireWriter& wire, const SPlate& plate) { TransferPlate(wire, plate); }
void GetPlate(CWireReader& wire, SPlate& plate) { TransferPlate(wire, plate); }
void PutMetadata(CWireWriter& wire, const SImageMetadata& metadata) { TransferMetadata(wire, metadata); }
void GetMetadata(CWireReader& wire, SImageMetadata& metadata) { TransferMetadata(wire, metadata); }

}  // namespace imageformats
