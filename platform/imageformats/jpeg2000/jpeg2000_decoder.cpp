#include "platform/imageformats/jpeg2000/jpeg2000_decoder.h"

#include <algorithm>
#include <cstring>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/base/text.h"

namespace imageformats {

namespace {

constexpr std::size_t kStreamBuffer = 64u << 10;
// What OpenJPEG keeps for each code block, with its share of the trees of its precinct.
constexpr std::uint64_t kCodeBlockBytes = 300;

// Lower resolutions are no averages: with two pixels for each wanted one, pictures came within 36 dB of the average at
// best, with four within 42.
constexpr std::uint64_t kLeastRatio = 4;

constexpr std::uint32_t HalvedUp(std::uint32_t value, std::uint32_t times) noexcept {
  return static_cast<std::uint32_t>((std::uint64_t{value} + (1ull << times) - 1) >> times);
}

// Of a code block's side, which a precinct may cut; `half` is 1 where precincts lie on bands of half the size.
std::uint32_t CutExponent(std::uint32_t block, const opj_tccp_info_t& how, std::uint32_t precinct, std::uint32_t half) {
  constexpr std::uint32_t kHasPrecincts = 1;
  if ((how.csty & kHasPrecincts) == 0) return block;
  return std::min(block, precinct - std::min(half, precinct));
}

void Ignore(const char*, void*) {}

void KeepError(const char* message, void* text) {
  // The first one is the reason, further ones its consequences.
  auto& kept = *static_cast<std::string*>(text);
  if (kept.empty()) kept = std::string(Trimmed(message));
}

}  // namespace

CJpeg2000Decoder::CJpeg2000Decoder(const CInput& input, const SCodestreamPlace& place, std::uint32_t reduction)
    : m_source{&input, place, 0}, m_reduction(reduction) {
  OpenStream();
  Setup();
  CheckPlanes();
}

void CJpeg2000Decoder::OpenStream() {
  m_stream.reset(opj_stream_create(kStreamBuffer, OPJ_TRUE));
  if (!m_stream) throw std::bad_alloc();
  opj_stream_set_user_data(m_stream.get(), &m_source, nullptr);
  opj_stream_set_user_data_length(m_stream.get(), m_source.place.size);
  opj_stream_set_read_function(m_stream.get(), [](void* out, OPJ_SIZE_T size, void* data) {
    auto& source = *static_cast<SSource*>(data);
    const std::uint64_t left = source.place.size - std::min(source.next, source.place.size);
    const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(size, left));
    const std::size_t done = source.input->ReadAt(source.place.offset + source.next, out, wanted);
    source.next += done;
    return done == 0 ? static_cast<OPJ_SIZE_T>(-1) : done;
  });
  opj_stream_set_skip_function(m_stream.get(), [](OPJ_OFF_T count, void* data) -> OPJ_OFF_T {
    auto& source = *static_cast<SSource*>(data);
    if (count < 0 || static_cast<std::uint64_t>(count) > source.place.size - source.next) return -1;
    source.next += static_cast<std::uint64_t>(count);
    return count;
  });
  opj_stream_set_seek_function(m_stream.get(), [](OPJ_OFF_T to, void* data) {
    auto& source = *static_cast<SSource*>(data);
    if (to < 0 || static_cast<std::uint64_t>(to) > source.place.size) return OPJ_FALSE;
    source.next = static_cast<std::uint64_t>(to);
    return OPJ_TRUE;
  });
}

void CJpeg2000Decoder::Setup() {
  m_codec.reset(opj_create_decompress(OPJ_CODEC_J2K));
  if (!m_codec) throw std::bad_alloc();
  opj_set_error_handler(m_codec.get(), KeepError, &m_error);
  opj_set_warning_handler(m_codec.get(), Ignore, nullptr);
  opj_set_info_handler(m_codec.get(), Ignore, nullptr);
  opj_dparameters_t parameters;
  opj_set_default_decoder_parameters(&parameters);
  parameters.cp_reduce = m_reduction;
  const bool isReady = opj_setup_decoder(m_codec.get(), &parameters) &&
                       opj_decoder_set_strict_mode(m_codec.get(), OPJ_TRUE) && opj_codec_set_threads(m_codec.get(), 0);
  opj_image_t* image = nullptr;
  const bool isRead = isReady && opj_read_header(m_stream.get(), m_codec.get(), &image);
  m_image.reset(image);
  if (!isRead || !m_image) Fail();
  const opj_image_comp_t& first = m_image->comps[0];
  const auto along = [&](std::uint32_t grid, std::uint32_t step) {
    return HalvedUp(static_cast<std::uint32_t>((std::uint64_t{grid} + step - 1) / step), m_reduction);
  };
  Require(first.dx != 0 && first.dy != 0, "The JPEG 2000 header is damaged");
  m_originX = along(m_image->x0, first.dx);
  m_originY = along(m_image->y0, first.dy);
  m_reduced = {along(m_image->x1, first.dx) - m_originX, along(m_image->y1, first.dy) - m_originY};
}

void CJpeg2000Decoder::CheckPlanes() const {
  Require(m_image->numcomps != 0, "The JPEG 2000 picture has no components");
  for (std::uint32_t i = 0; i < m_image->numcomps; ++i) {
    const opj_image_comp_t& plane = m_image->comps[i];
    Require(plane.dx != 0 && plane.dy != 0 && plane.prec >= 1, "The JPEG 2000 header is damaged");
    if (plane.prec > 31) throw CUnsupportedError("JPEG 2000 samples of more than 31 bits are not supported");
  }
}

void CJpeg2000Decoder::Fail() const {
  throw CDamagedError("The JPEG 2000 data are damaged" + (m_error.empty() ? std::string() : ": " + m_error));
}

SJpeg2000Plane CJpeg2000Decoder::Plane(std::uint32_t index) const noexcept {
  const opj_image_comp_t& plane = m_image->comps[index];
  return {plane.data, plane.w, plane.h, plane.dx, plane.dy, plane.prec, plane.sgnd != 0};
}

CJpeg2000Decoder::CInfoPtr CJpeg2000Decoder::CodingInfo() const {
  CInfoPtr info(opj_get_cstr_info(m_codec.get()));
  if (!info || info->m_default_tile_info.tccp_info == nullptr) throw std::bad_alloc();
  return info;
}

std::uint32_t CJpeg2000Decoder::Reductions() const {
  const CInfoPtr info = CodingInfo();
  std::uint32_t least = OPJ_J2K_MAXRLVLS;
  for (std::uint32_t i = 0; i < m_image->numcomps; ++i) {
    least = std::min(least, info->m_default_tile_info.tccp_info[i].numresolutions);
  }
  return std::max(least, 1u) - 1;
}

std::uint64_t CJpeg2000Decoder::MemoryFor(std::uint64_t pixels) const {
  const CInfoPtr info = CodingInfo();
  std::uint64_t bytes = 0;
  for (std::uint32_t i = 0; i < m_image->numcomps; ++i) {
    const opj_tccp_info_t& how = info->m_default_tile_info.tccp_info[i];
    const std::uint64_t samples = pixels / m_image->comps[i].dx / m_image->comps[i].dy;
    bytes += 2 * sizeof(std::int32_t) * (samples >> 2 * m_reduction);
    for (std::uint32_t level = 0; level < how.numresolutions && level < OPJ_J2K_MAXRLVLS; ++level) {
      const std::uint32_t half = level == 0 ? 0 : 1, up = how.numresolutions - 1 - level;
      const std::uint32_t across = CutExponent(how.cblkw, how, how.prcw[level], half);
      const std::uint32_t down = CutExponent(how.cblkh, how, how.prch[level], half);
      bytes += ((samples >> std::min(2 * up, 63u) >> (across + down)) + 4) * kCodeBlockBytes;
    }
  }
  return bytes;
}

std::uint32_t CJpeg2000Decoder::TileX() const noexcept {
  return HalvedUp(m_image->comps[0].x0, m_reduction) - m_originX;
}
std::uint32_t CJpeg2000Decoder::TileY() const noexcept {
  return HalvedUp(m_image->comps[0].y0, m_reduction) - m_originY;
}

void CJpeg2000Decoder::DecodeTile(std::uint32_t tile) {
  m_error.clear();
  if (!opj_get_decoded_tile(m_codec.get(), m_stream.get(), m_image.get(), tile) || !m_error.empty()) Fail();
  for (std::uint32_t i = 0; i < m_image->numcomps; ++i) {
    const opj_image_comp_t& plane = m_image->comps[i];
    if (plane.data == nullptr && plane.w != 0 && plane.h != 0) Fail();
  }
}

std::uint32_t Jpeg2000ReductionFor(SSize full, SSize wanted, std::uint32_t most) noexcept {
  std::uint32_t reduction = 0;
  if (wanted == SSize{}) return 0;
  while (reduction < most && full.width >> (reduction + 1) >= kLeastRatio * std::uint64_t{wanted.width} &&
         full.height >> (reduction + 1) >= kLeastRatio * std::uint64_t{wanted.height}) {
    ++reduction;
  }
  return reduction;
}

}  // namespace imageformats
