#include <stdexcept>

#include "bench/decoders/averaging.h"
#include "platform/imageformats/jpeg/block_means/average_means.h"
#include "platform/imageformats/jpeg/jpeg_decoder.h"
#include "platform/imageformats/jpeg/stream/jpeg_markers.h"
#include "platform/imageformats/jpeg/stream/marker_reader.h"

namespace {

using namespace imageformats;

constexpr std::uint32_t kJpegRowsAtOnce = 16;
constexpr std::uint32_t kSpare = 2;  // block means for each pixel of the result, along either axis

SAverages AverageMeans(const InputPtr& input, SSize wanted) {
  CRenderGuard guard;
  const auto means = ReadBlockMeans(*input, {wanted}, guard);
  if (!means) throw std::runtime_error("the block means cannot be read");
  return AveragesOf(AverageBlockMeans(*means, wanted, guard), 255);
}

SAverages AverageEighth(const InputPtr& input, SSize wanted) {
  CRenderGuard guard;
  CJpegDecoder decoder(input);
  SJpegDecodeOptions how;
  how.scale = 1;
  how.fast = true;
  decoder.Start(how, guard);
  const SSize scaled = decoder.OutputSize();
  const std::uint32_t components = decoder.OutputComponents();
  CAreaReducer reducer(decoder.AxisX(), decoder.AxisY(), wanted, components, ESampleType::kU8, guard);
  const std::size_t rowBytes = std::size_t{scaled.width} * components;
  std::vector<std::uint8_t> rows(rowBytes * kJpegRowsAtOnce);
  for (std::uint32_t y = 0; y < scaled.height; y += kJpegRowsAtOnce) {
    const std::uint32_t count = std::min(kJpegRowsAtOnce, scaled.height - y);
    decoder.ReadRows(rows.data(), rowBytes, count);
    reducer.AddBand(0, y, scaled.width, count, rows.data(), rowBytes);
  }
  return AveragesOf(reducer.Finish(), 255);
}

}  // namespace

std::vector<SDecoder> JpegDecoders(const std::filesystem::path& file, const SBox& box) {
  const InputPtr input = OpenInput(file);
  const SJpegMarkers markers = ReadJpegMarkers(*input);
  const SSize stored{markers.width, markers.height}, wanted = FitInto(stored, box);
  const auto leaves = [&](std::uint32_t means, std::uint32_t side) {
    return stored.width / (side * markers.subsamplingX) >= means * wanted.width &&
           stored.height / (side * markers.subsamplingY) >= means * wanted.height;
  };
  if (JpegScaleFor(stored, wanted, true) != 1 || !leaves(kSpare, 4)) return {};
  return {{"means", [=] { return AverageMeans(input, wanted); }},
          {"libjpeg", [=] { return AverageEighth(input, wanted); }}};
}
