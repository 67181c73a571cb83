#pragma once

#include <memory>
#include <string>

#include "platform/imageformats/arrays/array_bytes.h"
#include "platform/imageformats/arrays/array_layout.h"
#include "platform/imageformats/codec/codec_module.h"
#include "platform/imageformats/planes/plane_stack.h"

namespace imageformats {

// All that a header says about an array of pictures.
struct SArrayPicture {
  const char* format = "";
  SArraySource source;
  std::uint64_t otherBytes = 0;  // of a header in a file of its own
  SArrayLayout layout;
  SPlaneStack stack;        // its sizes, channels and orientation
  std::string unsupported;  // why there is nothing to show, when the header is sound all the same
  SImageMetadata metadata;  // texts, calibration, names of planes
  std::uint32_t zLoop = kQvLoopZ, tLoop = kQvLoopTime;  // what the stack's axes are
  double timeStep = 0.0;                                // seconds, 0 unknown
};

// Fills what follows from the rest: the stack's size, ranges and a missing channel, geometry, planes, loops and the
// text on sampling. Throws CDamagedError for pictures without pixels.
void CompleteArray(SArrayPicture& picture);

// A picture from an array that lies in a file as it is, or compressed as a whole.
class CArrayImage final : public COpenedImage {
 public:
  // The picture is completed by this.
  explicit CArrayImage(SArrayPicture picture);

  const SQvImageInfo& Info() const override { return m_picture.metadata.info; }
  std::uint64_t SourceBytes() const override { return m_picture.source.input->Size() + m_picture.otherBytes; }
  void Read(SQvPicBuf& picture, CRenderGuard& guard) override;
  void Render(const SRenderRequest& request, SQvPicBuf& picture, CRenderGuard& guard) override;
  SImageMetadata Metadata() override { return m_picture.metadata; }

 private:
  std::unique_ptr<IArrayBytes> OpenBytes(CRenderGuard& guard) const;

  SArrayPicture m_picture;
};

}  // namespace imageformats
