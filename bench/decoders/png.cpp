#include <spng.h>

#include <stdexcept>

#include "bench/decoders/averaging.h"
#include "platform/imageformats/png/png_display.h"
#include "platform/imageformats/png/png_rows.h"

namespace {

using namespace imageformats;

constexpr std::uint32_t kPngRowsAtOnce = 16;

// libspng, row by row.
class CSpngRows final : public IPngRowSource {
 public:
  CSpngRows(InputPtr input, const SPngHeader& header)
      : m_input(std::move(input)),
        m_context(spng_ctx_new(0)),
        m_stride(static_cast<std::size_t>(header.RowBytes())),
        m_rows(m_stride * kPngRowsAtOnce) {
    Check(spng_set_png_stream(m_context.get(), OnRead, this));
    Check(spng_decode_image(m_context.get(), nullptr, 0, SPNG_FMT_RAW, SPNG_DECODE_PROGRESSIVE));
  }

  SBand NextBand(std::uint32_t most) override {
    SBand band{m_rows.data(), m_stride, 0};
    const std::uint32_t wanted = std::min(most, kPngRowsAtOnce);
    for (int status = 0; band.count < wanted && status != SPNG_EOI; ++band.count) {
      status = spng_decode_row(m_context.get(), m_rows.data() + band.count * m_stride, m_stride);
      if (status != SPNG_EOI) Check(status);
    }
    return band;
  }

 private:
  struct SContextFree {
    void operator()(spng_ctx* context) const { spng_ctx_free(context); }
  };

  static void Check(int status) {
    if (status != 0) throw std::runtime_error(spng_strerror(status));
  }
  static int OnRead(spng_ctx*, void* user, void* out, std::size_t size) {
    auto& self = *static_cast<CSpngRows*>(user);
    const std::size_t count = self.m_input->ReadAt(self.m_offset, out, size);
    self.m_offset += count;
    return count == size ? 0 : SPNG_IO_EOF;
  }

  InputPtr m_input;
  std::uint64_t m_offset = 0;
  std::unique_ptr<spng_ctx, SContextFree> m_context;
  std::size_t m_stride;
  std::vector<std::uint8_t> m_rows;
};

SAverages Average(IPngRowSource& rows, const SPngHeader& header, SSize wanted, CRenderGuard& guard) {
  const CPngRowConverter pixels(header);
  const std::uint32_t colors = pixels.Components() - (pixels.HasAlpha() ? 1 : 0);
  const bool isWide = pixels.SampleBytes() == 2, asStored = pixels.IsIdentity() && !pixels.HasAlpha();
  CAreaReducer reducer({header.width, header.height}, wanted, colors, isWide ? ESampleType::kU16 : ESampleType::kU8,
                       guard);
  // In 16-bit units, for alignment.
  const std::size_t words = (pixels.RowBytes() + 1) / 2;
  std::vector<std::uint16_t> buffer(asStored ? 0 : words * kPngRowsAtOnce);
  for (std::uint32_t y = 0; y < header.height;) {
    IPngRowSource::SBand band = rows.NextBand(kPngRowsAtOnce);
    for (std::uint32_t i = 0; i < band.count && !asStored; ++i) {
      auto* row = reinterpret_cast<std::uint8_t*>(buffer.data() + i * words);
      pixels.Convert(band.rows + i * band.stride, row);
      BlendPngRowOverWhite(pixels, row, header.width);
    }
    if (!asStored) band = {reinterpret_cast<std::uint8_t*>(buffer.data()), words * 2, band.count};
    reducer.AddBand(0, y, header.width, band.count, band.rows, band.stride);
    y += band.count;
  }
  return AveragesOf(reducer.Finish(), isWide ? 65535 : 255);
}

}  // namespace

std::vector<SDecoder> PngDecoders(const std::filesystem::path& file, const SBox& box) {
  const InputPtr input = OpenInput(file);
  const SPngHeader header = ReadPngHeader(*input);
  const SSize wanted = FitInto({header.width, header.height}, box);
  CRenderGuard guard;
  if (!OpenWholePngRows(*input, header, guard)) return {};
  const auto decoder = [=](auto open) {
    return [=] {
      CRenderGuard guardOfRun;
      const std::unique_ptr<IPngRowSource> rows = open(guardOfRun);
      return Average(*rows, header, wanted, guardOfRun);
    };
  };
  return {{"whole file", decoder([=](CRenderGuard& g) { return OpenWholePngRows(*input, header, g); })},
          {"libpng", decoder([=](CRenderGuard& g) { return OpenLibpngRows(input, header, g); })},
          {"libspng", decoder([=](CRenderGuard&) { return std::make_unique<CSpngRows>(input, header); })}};
}
