#include "platform/imageformats/tiff/blocks/old_jpeg.h"

#include <initializer_list>
#include <numeric>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/jpeg/stream/marker_reader.h"
#include "platform/imageformats/tiff/blocks/block_source.h"

namespace imageformats::tiff {
namespace {

constexpr std::uint32_t kComponents = 3;
constexpr std::size_t kQuantisationBytes = 64;
constexpr std::size_t kHuffmanCounts = 16;
constexpr std::uint64_t kBaselineProcess = 1;

using SStream = std::vector<std::uint8_t>;

void AppendBytes(SStream* stream, std::initializer_list<std::uint32_t> bytes) {
  for (const std::uint32_t byte : bytes) stream->push_back(static_cast<std::uint8_t>(byte));
}

// A marker and the length of its segment.
void BeginSegment(SStream* stream, std::uint8_t marker, std::size_t payload) {
  const auto length = static_cast<std::uint32_t>(payload + 2);
  AppendBytes(stream, {0xFF, marker, length >> 8, length});
}

void AppendFromFile(const CTiffHandle& tiff, std::uint64_t offset, std::uint64_t size, CRenderGuard& guard,
                    SStream* stream) {
  guard.Reserve(size);
  const std::size_t start = stream->size();
  stream->resize(start + static_cast<std::size_t>(size));
  ReadBlockBytes(tiff, offset, stream->data() + start, static_cast<std::size_t>(size));
}

void AppendStrip(CTiffHandle& tiff, CRenderGuard& guard, SStream* stream) {
  const SBlockExtent strip = LocateBlock(tiff, 0);
  AppendFromFile(tiff, strip.offset, strip.size, guard, stream);
}

// What a stream brings with it.
struct SContent {
  bool hasQuantisation = false, hasHuffman = false, fits = false;
  std::uint64_t dataOffset = 0;  // of what follows the first scan's header; 0 when there is none
};

SContent Examine(const SStream& stream, const SPage& page) {
  SContent content;
  const std::shared_ptr<const CInput> input = CInput::FromMemory(stream.data(), stream.size());
  CMarkerReader reader(*input, 0);
  if (reader.NextMarker() != kMarkerSoi) return content;
  while (const std::optional<std::uint8_t> marker = reader.NextMarker()) {
    if (IsStandaloneMarker(*marker)) continue;
    const auto payload = reader.ReadPayload(6);
    if (!payload) break;
    content.hasQuantisation |= *marker == kMarkerDqt;
    content.hasHuffman |= *marker == kMarkerDht;
    if (IsFrameMarker(*marker) && payload->size() == 6) {
      const std::vector<std::uint8_t>& frame = *payload;
      content.fits = static_cast<std::uint32_t>(frame[1] << 8 | frame[2]) == page.height &&
                     static_cast<std::uint32_t>(frame[3] << 8 | frame[4]) == page.width && frame[5] == kComponents;
    }
    if (*marker != kMarkerSos) continue;
    content.dataOffset = reader.Position();
    break;
  }
  return content;
}

SStream StreamPointedTo(CTiffHandle& tiff, const SPage& page, std::uint64_t offset, CRenderGuard& guard) {
  std::uint64_t size = 0;
  const std::uint64_t end = tiff.Source().Size();
  if (!TIFFGetField(tiff.Get(), TIFFTAG_JPEGIFBYTECOUNT, &size)) return {};
  if (offset >= end || size == 0 || size > end - offset) return {};
  SStream stream;
  AppendFromFile(tiff, offset, size, guard, &stream);
  const SContent content = Examine(stream, page);
  if (!content.hasQuantisation || !content.hasHuffman || !content.fits || content.dataOffset == 0) return {};
  if (content.dataOffset == stream.size()) AppendStrip(tiff, guard, &stream);
  return stream;
}

// Offsets of one kind of table, one for each component; empty when they are not all there.
std::vector<std::uint64_t> TableOffsets(TIFF* tiff, std::uint32_t tag) {
  std::uint32_t count = 0;
  const std::uint64_t* offsets = nullptr;
  if (!TIFFGetField(tiff, tag, &count, &offsets) || count != kComponents || !offsets) return {};
  return {offsets, offsets + count};
}

void AppendHuffmanTables(CTiffHandle& tiff, const std::vector<std::uint64_t>& offsets, std::uint32_t kind,
                         CRenderGuard& guard, SStream* stream) {
  for (std::uint32_t i = 0; i < kComponents; ++i) {
    std::uint8_t counts[kHuffmanCounts];
    ReadBlockBytes(tiff, offsets[i], counts, sizeof counts);
    const std::size_t size = kHuffmanCounts + std::accumulate(std::begin(counts), std::end(counts), std::size_t{0});
    BeginSegment(stream, kMarkerDht, 1 + size);
    stream->push_back(static_cast<std::uint8_t>(kind << 4 | i));
    AppendFromFile(tiff, offsets[i], size, guard, stream);
  }
}

void AppendFrame(TIFF* tiff, const SPage& page, SStream* stream) {
  std::uint16_t horizontal = 2, vertical = 2;
  TIFFGetFieldDefaulted(tiff, TIFFTAG_YCBCRSUBSAMPLING, &horizontal, &vertical);
  BeginSegment(stream, kMarkerSof0, 6 + 3 * kComponents);
  AppendBytes(stream, {8, page.height >> 8, page.height, page.width >> 8, page.width, kComponents});
  for (std::uint32_t i = 0; i < kComponents; ++i) {
    AppendBytes(stream, {i, i == 0 ? static_cast<std::uint32_t>(horizontal << 4 | vertical) : 0x11u, i});
  }
  std::uint16_t interval = 0;
  if (TIFFGetField(tiff, TIFFTAG_JPEGRESTARTINTERVAL, &interval) && interval != 0) {
    BeginSegment(stream, kMarkerDri, 2);
    AppendBytes(stream, {std::uint32_t{interval} >> 8, interval});
  }
}

SStream StreamOfTables(CTiffHandle& tiff, const SPage& page, CRenderGuard& guard) {
  TIFF* library = tiff.Get();
  const std::vector<std::uint64_t> quantisation = TableOffsets(library, TIFFTAG_JPEGQTABLES);
  const std::vector<std::uint64_t> dc = TableOffsets(library, TIFFTAG_JPEGDCTABLES);
  const std::vector<std::uint64_t> ac = TableOffsets(library, TIFFTAG_JPEGACTABLES);
  if (quantisation.empty() || dc.empty() || ac.empty()) return {};
  SStream stream = {0xFF, kMarkerSoi};
  for (std::uint32_t i = 0; i < kComponents; ++i) {
    BeginSegment(&stream, kMarkerDqt, 1 + kQuantisationBytes);
    stream.push_back(static_cast<std::uint8_t>(i));
    AppendFromFile(tiff, quantisation[i], kQuantisationBytes, guard, &stream);
  }
  AppendFrame(library, page, &stream);
  AppendHuffmanTables(tiff, dc, 0, guard, &stream);
  AppendHuffmanTables(tiff, ac, 1, guard, &stream);
  BeginSegment(&stream, kMarkerSos, 4 + 2 * kComponents);
  stream.push_back(kComponents);
  for (std::uint32_t i = 0; i < kComponents; ++i) AppendBytes(&stream, {i, i << 4 | i});
  AppendBytes(&stream, {0, 63, 0});
  AppendStrip(tiff, guard, &stream);
  AppendBytes(&stream, {0xFF, kMarkerEoi});
  return stream;
}

}  // namespace

SStream OldJpegStream(CTiffHandle& tiff, const SPage& page, CRenderGuard& guard) {
  constexpr std::uint32_t kLargestSide = 65535;
  if (page.photometric != PHOTOMETRIC_YCBCR || page.samples != kComponents || page.planar || page.tiled) return {};
  if (page.BlocksDown() != 1 || page.width > kLargestSide || page.height > kLargestSide) return {};
  std::uint16_t process = kBaselineProcess;
  TIFFGetField(tiff.Get(), TIFFTAG_JPEGPROC, &process);
  if (process != kBaselineProcess) return {};
  std::uint64_t offset = 0;
  if (TIFFGetField(tiff.Get(), TIFFTAG_JPEGIFOFFSET, &offset) && offset != 0) {
    return StreamPointedTo(tiff, page, offset, guard);
  }
  return StreamOfTables(tiff, page, guard);
}

}  // namespace imageformats::tiff
