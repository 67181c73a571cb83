#include "platform/imageformats/tiff/rows/reduce_page.h"

#include <utility>

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

}  // namespace imageformats::tiff
