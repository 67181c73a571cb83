#include "platform/imageformats/jpeg/jpeg_writer.h"

#include <jerror.h>

#include <algorithm>
#include <cmath>
#include <exception>

#include "platform/imageformats/jpeg/jpeg_errors.h"

namespace imageformats {

namespace {

struct SJpegDestination {
  jpeg_destination_mgr base;  // first: libjpeg knows only this part
  CQvByteArray* bytes;
  JOCTET buffer[32768];
};

SJpegDestination& DestinationOf(j_compress_ptr info) { return *reinterpret_cast<SJpegDestination*>(info->dest); }

bool Append(SJpegDestination& destination, std::size_t count) noexcept {
  try {
    destination.bytes->Append(destination.buffer, count);
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

void OnInit(j_compress_ptr info) {
  SJpegDestination& destination = DestinationOf(info);
  destination.base.next_output_byte = destination.buffer;
  destination.base.free_in_buffer = sizeof destination.buffer;
}

boolean OnFull(j_compress_ptr info) {
  SJpegDestination& destination = DestinationOf(info);
  if (!Append(destination, sizeof destination.buffer)) ERREXIT1(info, JERR_OUT_OF_MEMORY, 0);
  OnInit(info);
  return TRUE;
}

void OnTerminate(j_compress_ptr info) {
  SJpegDestination& destination = DestinationOf(info);
  if (!Append(destination, sizeof destination.buffer - destination.base.free_in_buffer)) {
    ERREXIT1(info, JERR_OUT_OF_MEMORY, 0);
  }
}

}  // namespace

struct CJpegWriter::SState {
  jpeg_compress_struct info;
  SJpegErrors errors;
  SJpegDestination destination;
  std::size_t stride = 0;
  int quality = 75;
  const std::uint8_t* rows = nullptr;
  bool created = false;

  explicit SState(CQvByteArray& bytes) {
    info.err = InitJpegErrors(errors);
    Run([](SState& s) { jpeg_create_compress(&s.info); });
    created = true;
    destination.bytes = &bytes;
    destination.base.init_destination = OnInit;
    destination.base.empty_output_buffer = OnFull;
    destination.base.term_destination = OnTerminate;
    info.dest = &destination.base;
  }
  ~SState() {
    if (created) jpeg_destroy_compress(&info);
  }

  void Run(void (*step)(SState&)) { CallJpegLibrary(errors, *this, step); }
};

CJpegWriter::CJpegWriter(CQvByteArray& destination) : m_state(std::make_unique<SState>(destination)) {}
CJpegWriter::~CJpegWriter() = default;

void CJpegWriter::SetFormat(const SQvImageInfo& format, double quality) {
  if (format.bpcInMemory != 8 || (format.components != 1 && format.components != 3)) {
    throw CDamagedError("JPEG files are written from 8-bit grey or RGB pictures only");
  }
  if (format.width == 0 || format.height == 0 || format.width > JPEG_MAX_DIMENSION ||
      format.height > JPEG_MAX_DIMENSION) {
    throw CDamagedError("A JPEG picture has 1 to 65500 pixels a side");
  }
  if (format.widthBytes < format.width * format.components) throw CDamagedError("The picture's rows are too short");
  if (!(quality >= 0.0 && quality <= 1.0)) throw CDamagedError("The quality must lie between 0 and 1");
  SState& s = *m_state;
  s.destination.bytes->Clear();
  s.stride = format.widthBytes;
  s.quality = std::max(1, static_cast<int>(std::lround(quality * 100.0)));
  s.info.image_width = format.width;
  s.info.image_height = format.height;
  s.info.input_components = static_cast<int>(format.components);
  s.info.in_color_space = format.components == 1 ? JCS_GRAYSCALE : JCS_RGB;
  s.Run([](SState& state) {
    jpeg_set_defaults(&state.info);
    jpeg_set_quality(&state.info, state.quality, TRUE);
    jpeg_start_compress(&state.info, TRUE);
  });
}

void CJpegWriter::Write(const void* rows) {
  m_state->rows = static_cast<const std::uint8_t*>(rows);
  m_state->Run([](SState& s) {
    while (s.info.next_scanline < s.info.image_height) {
      // libjpeg's type has no const; it only reads.
      auto* row = const_cast<JSAMPROW>(s.rows + s.info.next_scanline * s.stride);
      jpeg_write_scanlines(&s.info, &row, 1);
    }
  });
}

void CJpegWriter::Finish() {
  m_state->Run([](SState& s) { jpeg_finish_compress(&s.info); });
}

}  // namespace imageformats
