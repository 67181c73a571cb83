#include "platform/imageformats/tiff/tiff_image.h"

#include <algorithm>

#include "platform/imageformats/tiff/associated_images.h"
#include "platform/imageformats/tiff/dataset/companion.h"
#include "platform/imageformats/tiff/description/describe.h"
#include "platform/imageformats/tiff/directory/tags.h"
#include "platform/imageformats/tiff/plate_of_dataset.h"
#include "platform/imageformats/tiff/read_picture.h"
#include "platform/imageformats/tiff/render_overview.h"
#include "platform/imageformats/tiff/rows/row_converter.h"

namespace imageformats::tiff {
namespace {

std::uint32_t CompressionKind(const SPage& page) noexcept {
  switch (page.compression) {
    case COMPRESSION_NONE:
      return kQvCompressionNone;
    case COMPRESSION_JPEG:
    case COMPRESSION_OJPEG:
      return kQvCompressionJpeg;
    case COMPRESSION_CCITTRLE:
    case COMPRESSION_CCITTRLEW:
    case COMPRESSION_CCITTFAX3:
    case COMPRESSION_CCITTFAX4:
    case COMPRESSION_LZW:
    case COMPRESSION_DEFLATE:
    case COMPRESSION_ADOBE_DEFLATE:
    case COMPRESSION_PACKBITS:
    case COMPRESSION_JBIG:
    case COMPRESSION_LZMA:
    case COMPRESSION_ZSTD:
    case COMPRESSION_NEXT:
      return kQvCompressionLossless;
    default:
      return kQvCompressionOther;
  }
}

std::uint32_t PixelType(ESampleFormat format) noexcept {
  return format == ESampleFormat::kFloat    ? kQvPixelFloat
         : format == ESampleFormat::kSigned ? kQvPixelSigned
                                            : kQvPixelUnsigned;
}

// Frames: pictures with all their channels.
std::uint32_t SequenceCount(const SDataset& dataset) noexcept {
  const std::uint64_t frames = CRenderGuard::Multiply(std::uint64_t{dataset.sizeZ} * dataset.sizeT, dataset.positions);
  const bool isSequence = dataset.kind == SDataset::EKind::kPlain && !dataset.hasPageAxes;
  const std::uint64_t count = isSequence ? dataset.pages.size() : frames;
  return static_cast<std::uint32_t>(std::min<std::uint64_t>(count, 0xFFFFFFFFu));
}

// As OME-XML says it; a value above the stored bits is none.
std::uint32_t SignificantBits(const SDataset& dataset) noexcept {
  const std::uint32_t stated =
      dataset.kind == SDataset::EKind::kOme ? dataset.ome.images[dataset.omeImage].significantBits : 0;
  return stated > 0 && stated <= dataset.page.bits ? stated : dataset.page.SignificantBits();
}

SQvImageInfo DescribePage(const SDataset& dataset) {
  const SPage& page = dataset.page;
  SQvImageInfo info;
  const SSize shown = DisplayedSize(page.Size(), page.orientation);
  const SSize tile = DisplayedSize(
      {page.tiled ? page.blockWidth : page.width, page.tiled ? page.blockHeight : page.height}, page.orientation);
  info.width = shown.width;
  info.height = shown.height;
  info.tileWidth = tile.width;
  info.tileHeight = tile.height;
  if (UnsupportedReason(page).empty()) {
    const SPixelFormat pixelFormat = CRowConverter(page, DecodedLayoutOf(page), ChannelSamples(page)).PixelFormat();
    info.components = pixelFormat.components;
    info.bpcInMemory = SampleBytes(pixelFormat.type) == 1 || pixelFormat.model == EColorModel::kLab ? 8 : 16;
  } else {
    info.components = page.samples;
    info.bpcInMemory = page.bits <= 8 ? 8 : 16;
  }
  info.widthBytes = info.width * info.components * (info.bpcInMemory / 8u);
  const bool indices = page.photometric == PHOTOMETRIC_PALETTE && info.components == 3;
  info.bpcSignificant = indices ? std::uint8_t{8} : static_cast<std::uint8_t>(SignificantBits(dataset));
  info.pixelType = PixelType(page.format);
  info.sequenceCount = SequenceCount(dataset);
  info.compression = CompressionKind(page);
  return info;
}

bool HasThumbnailTag(STiffFile& file) {
  try {
    file.handle.Select(file.chain.front().offset);
    return !BytesTag(file.handle, kTagThumbnailJpeg).empty() || !BytesTag(file.handle, kTagThumbnailPixels).empty();
  } catch (const CDamagedError&) {
    return false;
  }
}

}  // namespace

CTiffImage::CTiffImage(std::shared_ptr<const CInput> input)
    : m_files(OpenFileSet(std::move(input))),
      m_dataset(OpenDataset(m_files)),
      m_info(DescribePage(m_dataset)),
      m_hasCustomTags(HasThumbnailTag(m_files.Main())) {}

void CTiffImage::Read(SQvPicBuf& picture, CRenderGuard& guard) { ReadFullPicture(m_files, m_dataset, picture, guard); }

void CTiffImage::Render(const SRenderRequest& request, SQvPicBuf& picture, CRenderGuard& guard) {
  RenderOverview(m_files, m_dataset, request, picture, guard);
}

bool CTiffImage::CustomTag(const CQvStringW& name, CQvByteArray& bytes) {
  std::uint32_t tag = 0;
  if (name == CQvStringW(L"QvCustomTag:ThumbailJpg")) tag = kTagThumbnailJpeg;
  if (name == CQvStringW(L"QvCustomTag:ThumbailPicbuf")) tag = kTagThumbnailPixels;
  if (tag == 0) return false;
  STiffFile& file = m_files.Main();
  file.handle.Select(file.chain.front().offset);
  const std::span<const std::uint8_t> value = BytesTag(file.handle, tag);
  if (value.empty()) return false;
  bytes.SetData(value.data(), value.size(), 0, 0);
  return true;
}

std::vector<SAssociatedImage> CTiffImage::AssociatedImages() { return ListAssociated(m_files, m_dataset); }

void CTiffImage::RenderAssociated(const std::string& name, SQvPicBuf& picture, CRenderGuard& guard) {
  RenderAssociatedImage(m_files, m_dataset, name, picture, guard);
}

std::optional<SPlate> CTiffImage::Plate() { return PlateOfDataset(m_files, m_dataset); }

void CTiffImage::RenderWell(std::uint32_t well, SQvPicBuf& picture, CRenderGuard& guard) {
  RenderWellOfDataset(m_files, m_dataset, well, picture, guard);
}

SImageMetadata CTiffImage::Metadata() { return DescribeDataset(m_files, m_dataset, m_info); }

}  // namespace imageformats::tiff
