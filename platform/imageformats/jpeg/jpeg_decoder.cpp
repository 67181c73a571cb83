#include "platform/imageformats/jpeg/jpeg_decoder.h"

#include <algorithm>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/jpeg/jpeg_errors.h"
#include "platform/imageformats/jpeg/jpeg_scans.h"
#include "platform/imageformats/jpeg/jpeg_source.h"
#include "platform/imageformats/jpeg/stream/coding.h"
#include "platform/imageformats/jpeg/stream/jpeg_markers.h"

namespace imageformats {

namespace {

constexpr std::uint32_t kDecodedBandRows = 16;
constexpr char kCutOff[] = "The JPEG data ends before the picture is complete";

J_COLOR_SPACE LibraryColor(EJpegColor color, J_COLOR_SPACE fromMarkers) {
  switch (color) {
    case EJpegColor::kGrey:
      return JCS_GRAYSCALE;
    case EJpegColor::kRgb:
      return JCS_RGB;
    case EJpegColor::kYCbCr:
      return JCS_YCbCr;
    case EJpegColor::kCmyk:
      return JCS_CMYK;
    case EJpegColor::kYcck:
      return JCS_YCCK;
    case EJpegColor::kFromMarkers:
      break;
  }
  return fromMarkers;
}

EJpegColor ColorOf(J_COLOR_SPACE color) {
  switch (color) {
    case JCS_GRAYSCALE:
      return EJpegColor::kGrey;
    case JCS_RGB:
      return EJpegColor::kRgb;
    case JCS_YCbCr:
      return EJpegColor::kYCbCr;
    case JCS_CMYK:
      return EJpegColor::kCmyk;
    case JCS_YCCK:
      return EJpegColor::kYcck;
    default:
      return EJpegColor::kFromMarkers;
  }
}

}  // namespace

struct CJpegDecoder::SState {
  jpeg_decompress_struct info;
  SJpegErrors errors;
  SJpegSource source;
  std::shared_ptr<const CInput> input;  // null when decoding a span
  std::span<const std::uint8_t> stream;
  SJpegHeader header;
  bool created = false;
  bool hasHeader = false;  // of the current stream, and nothing decoded since
  CRenderGuard* guard = nullptr;
  std::uint64_t coefficientMemory = 0;

  SState() {
    info.err = InitJpegErrors(errors);
    Run([](SState& s) { jpeg_create_decompress(&s.info); });
    created = true;
  }
  ~SState() {
    if (created) jpeg_destroy_decompress(&info);
  }

  // Every call into libjpeg goes through here.
  void Run(void (*step)(SState&)) { CallJpegLibrary(errors, *this, step); }

  void Rewind() {
    Run([](SState& s) { jpeg_abort_decompress(&s.info); });
    if (input) {
      InitJpegSource(source, *input);
    } else {
      InitJpegSource(source, stream);
    }
    info.src = &source.base;
    hasHeader = false;
  }

  void ApplyOptions(const SJpegDecodeOptions& how);
  void ReserveCoefficientMemory();
  void ReleaseCoefficientMemory();
  void ReadScans(bool fast);
  void RequireArithmeticEnd() const;
  SSourceAxis Axis(std::uint32_t stored, std::uint32_t scaled) const;

  int status = 0;  // of jpeg_consume_input
  // The rows of one call.
  std::uint8_t* rows = nullptr;
  std::size_t stride = 0;
  std::uint32_t rowCount = 0;
};

CJpegDecoder::CJpegDecoder(std::shared_ptr<const CInput> input) : m_state(std::make_unique<SState>()) {
  m_state->input = std::move(input);
}

CJpegDecoder::CJpegDecoder(std::span<const std::uint8_t> stream) : m_state(std::make_unique<SState>()) {
  m_state->stream = stream;
}

CJpegDecoder::~CJpegDecoder() = default;

void CJpegDecoder::LoadTables(std::span<const std::uint8_t> tables) {
  SState& s = *m_state;
  s.Run([](SState& state) { jpeg_abort_decompress(&state.info); });
  InitJpegSource(s.source, tables);
  s.info.src = &s.source.base;
  s.hasHeader = false;
  s.Run([](SState& state) { jpeg_read_header(&state.info, FALSE); });
}

void CJpegDecoder::SetStream(std::span<const std::uint8_t> stream) {
  m_state->input.reset();
  m_state->stream = stream;
  m_state->hasHeader = false;
}

const SJpegHeader& CJpegDecoder::ReadHeader() {
  SState& s = *m_state;
  if (s.hasHeader) return s.header;
  s.Rewind();
  s.Run([](SState& state) { jpeg_read_header(&state.info, TRUE); });
  s.header.width = s.info.image_width;
  s.header.height = s.info.image_height;
  s.header.components = static_cast<std::uint32_t>(s.info.num_components);
  s.header.progressive = s.info.progressive_mode != FALSE;
  s.header.adobeInverted = s.info.num_components == 4 && s.info.saw_Adobe_marker != FALSE;
  s.header.color = ColorOf(s.info.jpeg_color_space);
  s.hasHeader = true;
  return s.header;
}

void CJpegDecoder::SState::ApplyOptions(const SJpegDecodeOptions& how) {
  info.scale_num = std::clamp<std::uint32_t>(how.scale, 1, 8);
  info.scale_denom = 8;
  info.jpeg_color_space = LibraryColor(how.color, info.jpeg_color_space);
  switch (info.num_components) {
    case 1:
      info.out_color_space = JCS_GRAYSCALE;
      break;
    case 3:
      info.out_color_space = how.keepYCbCr ? info.jpeg_color_space : JCS_RGB;
      break;
    case 4:
      info.out_color_space = JCS_CMYK;
      break;
    default:
      throw CUnsupportedError("JPEG pictures of " + std::to_string(info.num_components) +
                              " components cannot be decoded");
  }
  info.dct_method = JDCT_ISLOW;
  info.do_fancy_upsampling = how.fast ? FALSE : TRUE;
  info.do_block_smoothing = FALSE;
  info.buffered_image = jpeg_has_multiple_scans(&info);
  info.mem->max_memory_to_use = static_cast<long>(guard->Available());
}

// Streams of several scans keep all coefficients, two bytes each.
void CJpegDecoder::SState::ReserveCoefficientMemory() {
  std::uint64_t blocks = 0;
  for (int i = 0; i < info.num_components; ++i) {
    const jpeg_component_info& component = info.comp_info[i];
    blocks += std::uint64_t{component.width_in_blocks} * component.height_in_blocks;
  }
  guard->Reserve(blocks * sizeof(JBLOCK));
  coefficientMemory = blocks * sizeof(JBLOCK);
}

void CJpegDecoder::SState::ReleaseCoefficientMemory() {
  if (coefficientMemory == 0) return;
  Run([](SState& s) { jpeg_abort_decompress(&s.info); });
  guard->Release(coefficientMemory);
  coefficientMemory = 0;
}

void CJpegDecoder::SState::ReadScans(bool fast) {
  const ENeededScans need = fast ? ENeededScans::kWithinTolerance : ENeededScans::kAtScale;
  bool mayStopEarly = true;
  for (status = JPEG_ROW_COMPLETED; status != JPEG_REACHED_EOI;) {
    Run([](SState& s) { s.status = jpeg_consume_input(&s.info); });
    guard->CheckTime();
    if (info.input_scan_number > kMaxScans) throw CDamagedError("The JPEG stream has too many scans");
    if (status != JPEG_SCAN_COMPLETED || !mayStopEarly || !HasScans(info, need)) continue;
    // The scans left would not change a pixel; that they are there still has to be seen, for a file that is being
    // written must not pass as complete.
    if (input && HasEndOfImage(*input, JpegSourcePosition(source))) return;
    mayStopEarly = false;
  }
  if (source.pastEnd && (info.arith_code || !HasScans(info, ENeededScans::kAll))) throw CDamagedError(kCutOff);
}

// Arithmetic codes have no end of their own: behind the last byte the decoder goes on with zeros, and warns of nothing.
// So the marker behind them has to be there. After the last row of a single scan.
void CJpegDecoder::SState::RequireArithmeticEnd() const {
  if (!info.arith_code || info.buffered_image) return;
  if (source.pastEnd) throw CDamagedError(kCutOff);
  if (info.unread_marker == JPEG_EOI || !input) return;
  if (!HasEndOfImage(*input, JpegSourcePosition(source))) throw CDamagedError(kCutOff);
}

void CJpegDecoder::Start(const SJpegDecodeOptions& how, CRenderGuard& guard) {
  ReadHeader();
  SState& s = *m_state;
  s.hasHeader = false;
  s.guard = &guard;
  s.coefficientMemory = 0;
  s.ApplyOptions(how);
  if (s.info.buffered_image) s.ReserveCoefficientMemory();
  s.Run([](SState& state) { jpeg_start_decompress(&state.info); });
  if (!s.info.buffered_image) return;
  s.ReadScans(how.fast);
  s.Run([](SState& state) { jpeg_start_output(&state.info, state.info.input_scan_number); });
}

SSize CJpegDecoder::OutputSize() const noexcept { return {m_state->info.output_width, m_state->info.output_height}; }

std::uint32_t CJpegDecoder::OutputComponents() const noexcept {
  return static_cast<std::uint32_t>(m_state->info.output_components);
}

SSourceAxis CJpegDecoder::SState::Axis(std::uint32_t stored, std::uint32_t scaled) const {
  // libjpeg may settle on a larger scale than it was asked for; the size tells which.
  std::uint64_t scale = info.scale_num;
  while (scale < 8 && (stored * scale + 7) / 8 < scaled) ++scale;
  return {scaled, 8, stored * scale};
}

SSourceAxis CJpegDecoder::AxisX() const noexcept {
  return m_state->Axis(m_state->info.image_width, m_state->info.output_width);
}

SSourceAxis CJpegDecoder::AxisY() const noexcept {
  return m_state->Axis(m_state->info.image_height, m_state->info.output_height);
}

void CJpegDecoder::ReadRows(std::uint8_t* rows, std::size_t stride, std::uint32_t count) {
  SState& s = *m_state;
  if (count > RowsLeft()) throw CDamagedError("The JPEG picture has fewer rows");
  for (; count > 0; count -= s.rowCount, rows += s.rowCount * stride) {
    s.guard->CheckTime();
    s.rows = rows;
    s.stride = stride;
    s.rowCount = std::min(count, kDecodedBandRows);
    s.Run([](SState& state) {
      JSAMPROW pointers[kDecodedBandRows];
      for (std::uint32_t i = 0; i < state.rowCount; ++i) pointers[i] = state.rows + i * state.stride;
      for (std::uint32_t done = 0; done < state.rowCount;) {
        done += jpeg_read_scanlines(&state.info, pointers + done, state.rowCount - done);
      }
    });
  }
  if (RowsLeft() != 0) return;
  s.RequireArithmeticEnd();
  s.ReleaseCoefficientMemory();
}

std::uint32_t CJpegDecoder::RowsLeft() const noexcept {
  return m_state->info.output_height - m_state->info.output_scanline;
}

std::uint32_t JpegScaleFor(SSize stored, SSize wanted, bool fast) noexcept {
  const std::uint64_t spare = fast ? 2 : 3;
  for (std::uint64_t scale = 1; scale < 8; ++scale) {
    if (stored.width * scale / 8 >= spare * wanted.width && stored.height * scale / 8 >= spare * wanted.height) {
      return static_cast<std::uint32_t>(scale);
    }
  }
  return 8;
}

}  // namespace imageformats
