#include "platform/imageformats/jpeg/jpeg_source.h"

#include <jerror.h>

#include <algorithm>

namespace imageformats {

namespace {

constexpr JOCTET kEnd[] = {0xFF, JPEG_EOI};

SJpegSource& SourceOf(j_decompress_ptr info) { return *reinterpret_cast<SJpegSource*>(info->src); }

void OnInit(j_decompress_ptr) {}

boolean OnFill(j_decompress_ptr info) {
  SJpegSource& source = SourceOf(info);
  std::size_t count = 0;
  if (source.file != nullptr) {
    count = source.file->ReadAt(source.offset, source.buffer, sizeof source.buffer);
    source.offset += count;
  }
  if (count == 0) source.pastEnd = true;
  source.base.next_input_byte = count != 0 ? source.buffer : kEnd;
  source.base.bytes_in_buffer = count != 0 ? count : sizeof kEnd;
  return TRUE;
}

void OnSkip(j_decompress_ptr info, long count) {
  if (count <= 0) return;
  SJpegSource& source = SourceOf(info);
  const std::size_t buffered = std::min(source.base.bytes_in_buffer, static_cast<std::size_t>(count));
  source.base.next_input_byte += buffered;
  source.base.bytes_in_buffer -= buffered;
  const std::uint64_t rest = static_cast<std::uint64_t>(count) - buffered;
  source.offset = std::min(source.offset + rest, source.size);
}

void OnTerminate(j_decompress_ptr) {}

void InitCallbacks(jpeg_source_mgr& base) {
  base.init_source = OnInit;
  base.fill_input_buffer = OnFill;
  base.skip_input_data = OnSkip;
  base.resync_to_restart = jpeg_resync_to_restart;
  base.term_source = OnTerminate;
}

}  // namespace

void InitJpegSource(SJpegSource& source, const CInput& input) noexcept {
  if (!input.IsFile()) return InitJpegSource(source, input.Memory());
  InitCallbacks(source.base);
  source.file = &input;
  source.pastEnd = false;
  source.offset = 0;
  source.size = input.Size();
  source.base.next_input_byte = source.buffer;
  source.base.bytes_in_buffer = 0;
}

void InitJpegSource(SJpegSource& source, std::span<const std::uint8_t> memory) noexcept {
  InitCallbacks(source.base);
  source.file = nullptr;
  source.pastEnd = false;
  source.offset = source.size = memory.size();
  source.base.next_input_byte = memory.data();
  source.base.bytes_in_buffer = memory.size();
}

std::uint64_t JpegSourcePosition(const SJpegSource& source) noexcept {
  const std::uint64_t pending = source.base.bytes_in_buffer;
  return source.offset > pending ? source.offset - pending : 0;
}

}  // namespace imageformats
