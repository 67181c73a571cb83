#include <stdexcept>

#include "bench/decoders/averaging.h"
#include "platform/imageformats/tiff/directory/ifd_chain.h"
#include "platform/imageformats/tiff/rows/convert_blocks.h"
#include "platform/imageformats/tiff/rows/reduce_block_means.h"

namespace {

using namespace imageformats;
using namespace imageformats::tiff;

// The first page of a file, opened for one decoding.
class COpenPage {
 public:
  explicit COpenPage(const InputPtr& input)
      : m_tiff(input), m_page(ReadPage(m_tiff, ReadIfdChain(*input).front().offset)) {}

  const SPage& Page() const { return m_page; }

  std::optional<SAveragedPicture> ReduceMeans(SSize wanted) {
    return ReduceByBlockMeans(m_tiff, m_page, wanted, m_guard);
  }

  // With the decoder that the platform chooses when it makes nothing of block means.
  SAverages ReduceBlocks(SSize wanted) {
    SBlockRequest blocks;
    blocks.wanted = wanted;
    blocks.fast = true;
    const std::unique_ptr<CBlockSource> source = OpenBlocks(m_tiff, m_page, blocks, m_guard);
    CRowConverter rows(m_page, source->Layout(), {});
    CAreaReducer reducer(source->AxisX(), source->AxisY(), wanted, rows.PixelFormat().components,
                         rows.PixelFormat().type, m_guard);
    CReducerSink sink(reducer);
    ConvertBlocks(*source, rows, sink, m_guard);
    return AveragesOf(reducer.Finish(), 255);
  }

  // With libtiff's decoder, whatever the compression.
  SAverages ReduceEncoded(SSize wanted) {
    TIFF* const tiff = m_tiff.Get();
    const auto stride = std::size_t{m_page.blockWidth} * m_page.samples;
    std::vector<std::uint8_t> block(stride * m_page.blockHeight);
    const auto size = static_cast<tmsize_t>(block.size());
    CAreaReducer reducer(m_page.Size(), wanted, m_page.samples, ESampleType::kU8, m_guard);
    for (std::uint32_t row = 0, index = 0; row < m_page.BlocksDown(); ++row) {
      for (std::uint32_t column = 0; column < m_page.BlocksAcross(); ++column, ++index) {
        const tmsize_t got = m_page.tiled ? TIFFReadEncodedTile(tiff, index, block.data(), size)
                                          : TIFFReadEncodedStrip(tiff, index, block.data(), size);
        if (got <= 0) throw std::runtime_error("a strip or tile cannot be decoded");
        reducer.AddBand(column * m_page.blockWidth, row * m_page.blockHeight, m_page.blockWidth, m_page.blockHeight,
                        block.data(), stride);
      }
    }
    return AveragesOf(reducer.Finish(), 255);
  }

 private:
  CRenderGuard m_guard;
  CTiffHandle m_tiff;
  SPage m_page;
};

}  // namespace

std::vector<SDecoder> TiffJpegDecoders(const std::filesystem::path& file, const SBox& box) {
  const InputPtr input = OpenInput(file);
  COpenPage page(input);
  const SSize wanted = FitInto(page.Page().Size(), box);
  if (!page.ReduceMeans(wanted)) return {};
  return {{"means", [=] { return AveragesOf(std::move(*COpenPage(input).ReduceMeans(wanted)), 255); }},
          {"libjpeg", [=] { return COpenPage(input).ReduceBlocks(wanted); }}};
}

std::vector<SDecoder> TiffLzwDecoders(const std::filesystem::path& file, const SBox& box) {
  const InputPtr input = OpenInput(file);
  const SSize wanted = FitInto(COpenPage(input).Page().Size(), box);
  return {{"LZW", [=] { return COpenPage(input).ReduceBlocks(wanted); }},
          {"libtiff", [=] { return COpenPage(input).ReduceEncoded(wanted); }}};
}
