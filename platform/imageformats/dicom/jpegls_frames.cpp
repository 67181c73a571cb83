#include "platform/imageformats/dicom/jpegls_frames.h"

#include <charls/charls.h>

#include <string>

#include "platform/imageformats/base/format_error.h"

namespace imageformats {

bool DecodeJpegLs(std::span<const std::uint8_t> stream, const SDicomHeader& header, std::span<std::uint8_t> out) {
  try {
    charls::jpegls_decoder decoder;
    decoder.source(stream.data(), stream.size());
    decoder.read_header();
    const charls::frame_info& found = decoder.frame_info();
    const bool fits = SSize{found.width, found.height} == header.frame &&
                      found.component_count == static_cast<std::int32_t>(header.samples) &&
                      (found.bits_per_sample > 8) == (header.bitsAllocated > 8) &&
                      decoder.destination_size() == out.size();
    Require(fits, "The JPEG-LS data of a frame do not fit the picture");
    decoder.decode(out.data(), out.size());
    return decoder.interleave_mode() == charls::interleave_mode::none;
  } catch (const charls::jpegls_error& error) {
    throw CDamagedError(std::string("The JPEG-LS data are damaged: ") + error.what());
  }
}

}  // namespace imageformats
