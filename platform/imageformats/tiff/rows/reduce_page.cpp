#include "platform/imageformats/tiff/rows/reduce_page.h"

#include <utility>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/render/nearest_sampler.h"
#include "platform/imageformats/tiff/rows/convert_blocks.h"
#include "platform/imageformats/tiff/rows/reduce_block_means.h"

namespace imageformats::tiff {
namespace {

void ScaleLab(const SPixelFormat& pixelFormat, SAveragedPicture* picture) {
  for (std::size_t i = 0; i + 2 < picture->samples.size(); i += 3) {
    float* lab = &picture->samples[i];
    lab[0] = static_cast<float>(lab[0] * pixelFormat.lightnessScale);
    lab[1] = static_cast<float>(lab[1] * pixelFormat.labScale - pixelFormat.labOffset);
    lab[2] = static_cast<float>(lab[2] * pixelFormat.labScale - pixelFormat.labOffset);
  }
}

class CSamplerSink final : public IPixelSink {
 public:
  CSamplerSink(CNearestSampler& sampler, std::size_t pixelBytes) : m_sampler(sampler), m_pixelBytes(pixelBytes) {}
  void Add(std::uint32_t x, std::uint32_t y, std::uint32_t width, std::uint32_t height, const std::uint8_t* rows,
           std::size_t stride) override {
    m_sampler.AddBand(x, y, width, height, rows, stride, m_pixelBytes);
  }

 private:
  CNearestSampler& m_sampler;
  std::size_t m_pixelBytes;
};

}  // namespace

SReducedPage ReducePage(CTiffHandle& tiff, const SPage& page, const SReduceRequest& request, CRenderGuard& guard) {
  if (std::optional<SAveragedPicture> averages = ReduceByBlockMeans(tiff, page, request.displayed, guard)) {
    return {std::move(*averages), CRowConverter(page, DecodedLayoutOf(page), request.channels).PixelFormat()};
  }
  SBlockRequest blocks;
  blocks.wanted = DisplayedSize(request.displayed, request.orientation);
  blocks.fast = request.fast;
  blocks.dataOffset = request.dataOffset;
  const std::unique_ptr<CBlockSource> source = OpenBlocks(tiff, page, blocks, guard);
  CRowConverter converter(page, source->Layout(), request.channels);
  const SSize size = ReducedSize(source->AxisX(), source->AxisY(), request.displayed, request.orientation);
  CAreaReducer reducer(source->AxisX(), source->AxisY(), size, converter.PixelFormat().components,
                       converter.PixelFormat().type, guard);
  CReducerSink sink(reducer);
  ConvertBlocks(*source, converter, sink, guard);
  SReducedPage reduced{reducer.Finish(), converter.PixelFormat()};
  if (reduced.pixelFormat.model == EColorModel::kLab) ScaleLab(reduced.pixelFormat, &reduced.averages);
  return reduced;
}

SAveragedPicture SamplePage(CTiffHandle& tiff, const SPage& page, const SReduceRequest& request, CRenderGuard& guard) {
  SBlockRequest blocks;
  blocks.dataOffset = request.dataOffset;
  const std::unique_ptr<CBlockSource> source = OpenBlocks(tiff, page, blocks, guard);
  CRowConverter converter(page, source->Layout(), request.channels);
  if (converter.PixelFormat().components != 1) throw CDamagedError("A page of labels has several components");
  const SSize size = ReducedSize(page.Size(), request.displayed, request.orientation);
  CNearestSampler sampler(page.Size(), size, converter.PixelFormat().type, guard);
  CSamplerSink sink(sampler, converter.PixelBytes());
  ConvertBlocks(*source, converter, sink, guard);
  return sampler.Finish();
}

}  // namespace imageformats::tiff
