#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "metadata/qvimageinfo.h"
#include "picture/qvpicbuf.h"
#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/base/input.h"
#include "platform/imageformats/base/render_guard.h"
#include "platform/imageformats/codec/associated_image.h"
#include "platform/imageformats/codec/image_metadata.h"
#include "platform/imageformats/codec/plate.h"
#include "platform/imageformats/render/render_request.h"
#include "system/qvbytearray.h"

// What a codec folder provides. Everything here is free of the component model: adapters (component/picture_source.h,
// component/codec_object.h) turn these classes into IQvImageCodec, IQvPictureSource, IQvMetadataReader and
// IQvImageFile, check arguments, catch every exception and keep the error text. Codec code throws CFormatError (or
// std::bad_alloc) to give up and needs no clean-up beyond its destructors.

namespace imageformats {

// An opened image. Used by one thread at a time; operations may come in any order and any number of times.
class COpenedImage {
 public:
  virtual ~COpenedImage() = default;

  // Geometry of the main picture as it is displayed: for orientations 5 to 8 width and height are swapped, consistently
  // with Read and Render. components and bpcInMemory (8 or 16) describe what Read delivers. Known for every image that
  // could be opened, also for pixels that only Read and Render find unsupported: those open, and throw
  // CUnsupportedError there, because -3 must reach the caller of the rendering.
  virtual const SQvImageInfo& Info() const = 0;

  // Bytes of all the files that the pixels come from: the measure of the time that decoding may take.
  virtual std::uint64_t SourceBytes() const = 0;

  // Fills `picture`, which has the shape of Info(), with the first picture as displayed.
  virtual void Read(SQvPicBuf& picture, CRenderGuard& guard) = 0;

  // Fills `picture` (8 bits, 3 components, request.width x request.height) with the overview. Truncated or damaged
  // pixels throw CDamagedError: a half picture is never delivered as success.
  virtual void Render(const SRenderRequest& request, SQvPicBuf& picture, CRenderGuard& guard) = 0;

  // The custom tag's bytes, replacing the array's content. False, array untouched, when the file has no such tag.
  virtual bool HasCustomTags() const { return false; }
  virtual bool CustomTag(const CQvStringW& /*name*/, CQvByteArray& /*bytes*/) { return false; }

  // Pictures beside the main one, listed without being decoded. Rendering one fills `picture` (8 bits, 3 components,
  // any size) with all of it; throws CDamagedError for a name that is not listed.
  virtual std::vector<SAssociatedImage> AssociatedImages() { return {}; }
  virtual void RenderAssociated(const std::string& /*name*/, SQvPicBuf& /*picture*/, CRenderGuard& /*guard*/) {
    throw CDamagedError("The file holds no such image");
  }

  // The plate that the file belongs to, and the overview of the first picture of a well by its number in the list, as
  // Render draws it; the view's position is the well's own. Throws CDamagedError for a well that is not there.
  virtual std::optional<SPlate> Plate() { return std::nullopt; }
  virtual void RenderWell(std::uint32_t /*well*/, const SRenderRequest& /*request*/, SQvPicBuf& /*picture*/,
                          CRenderGuard& /*guard*/) {
    throw CDamagedError("The file holds no plate");
  }

  // Parsed when asked for. Damaged descriptions are no failure: what cannot be understood is left unknown.
  virtual SImageMetadata Metadata() = 0;
};

// The limits for the image's pixels.
inline SRenderLimits LimitsOf(const COpenedImage& image) {
  const SQvImageInfo& info = image.Info();
  return LimitsFor(image.SourceBytes(), PictureBytes(info.width, info.height, info.components, info.bpcInMemory));
}

// A picture being written into a byte array that outlives it.
class IPictureWriter {
 public:
  virtual ~IPictureWriter() = default;
  // Called once, first. Throws CDamagedError for a description that the format cannot hold.
  virtual void SetFormat(const SQvImageInfo& format, double quality) = 0;
  // All rows, format.widthBytes apart (checked to be at least a row's bytes).
  virtual void Write(const void* rows) = 0;
  virtual void Finish() = 0;
};

// One image format: stateless, one object for the whole process, used from any number of threads.
class CCodecModule {
 public:
  virtual ~CCodecModule() = default;

  // The format's name in GetCodecByName: "JPG", "PNG", "TIF", "WSI".
  virtual const char* Name() const noexcept = 0;
  // Whether the content is of this format; looks at input.Head() first and reads more only when the head fits. Modules
  // are asked in the order of component/codec_registry.h; the first that says yes is the file's codec. Does not throw.
  virtual bool Matches(const CInput& input) const noexcept = 0;
  // A first look by this project's own code, without a library's: false only when Matches is false.
  virtual bool MayMatch(const CInput& input) const noexcept { return Matches(input); }
  // Whether the first look's answer is that of Matches.
  virtual bool IsSettledByFirstLook(const CInput& /*input*/) const noexcept { return !OpensByPath(); }
  // Whether the library opens files itself, by their paths: Matches and Open then want CInput::NativePath and the
  // folder.
  virtual bool OpensByPath() const noexcept { return false; }
  // Whether the library takes so long to load that only a decoder of its own does: such a codec loads it when it is
  // first used, or in Prepare.
  virtual bool HasOwnDecoder() const noexcept { return false; }
  // Loads what opening files needs, for a process that can open nothing later.
  virtual void Prepare() const noexcept {}
  // Throws CDamagedError when the content is not of this format or damaged beyond its description.
  virtual std::unique_ptr<COpenedImage> Open(std::shared_ptr<const CInput> input) const = 0;
  // Formats that need a file answer OpenInputMemory with -3.
  virtual bool CanOpenMemory() const noexcept { return true; }
  // Null for formats that cannot be written.
  virtual std::unique_ptr<IPictureWriter> CreateWriter(CQvByteArray& /*destination*/) const { return nullptr; }
};

}  // namespace imageformats
