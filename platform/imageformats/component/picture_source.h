#pragma once

#include <memory>
#include <optional>

#include "imageformats/iqvimageformatmanager.h"
#include "platform/imageformats/base/error_text.h"
#include "platform/imageformats/codec/codec_module.h"
#include "platform/imageformats/process/file_record.h"

namespace imageformats {

// The one mode of IQvPictureSource::RenderPicture.
inline constexpr std::uint32_t kOverviewMode = 1;

// Whether the record's shape and memory agree, so that rows can be written without further thought.
bool HasShape(const SQvPicBuf& picture, std::uint32_t width, std::uint32_t height, std::uint32_t bpc,
              std::uint32_t components);

// The opened image as an interface: arguments checked, exceptions caught, texts kept, each operation under a
// CRenderGuard of its own; it shows what CurrentView is now. `file`: as it was when it was opened, so that a rendering
// which takes too long is not tried twice; nothing for other content. Throws std::bad_alloc.
IQvPictureSource* NewPictureSource(std::unique_ptr<COpenedImage> image, std::shared_ptr<CErrorText> manager,
                                   const std::optional<SFileRecord>& file = {});

// The writer as an interface; it enforces the order SetPictureFormat, WritePicture, Finish.
IQvOutputImageFile* NewOutputFile(std::unique_ptr<IPictureWriter> writer, std::shared_ptr<CErrorText> manager);

}  // namespace imageformats
