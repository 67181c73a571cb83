#include <png.h>

#include <algorithm>
#include <csetjmp>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "platform/imageformats/base/c_call.h"
#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/png/png_rows.h"

namespace imageformats {

namespace {

constexpr png_alloc_size_t kMaxChunk = 8u << 20;
constexpr png_uint_32 kMaxKeptChunks = 64;
constexpr std::uint64_t kRowPadding = 64;

// libpng's read state, and the only owner of its objects.
struct SPngState {
  png_structp png = nullptr;
  png_infop info = nullptr;
  std::jmp_buf jump;
  char text[128] = {};

  const CInput* input = nullptr;
  std::uint64_t offset = 0;  // of the buffer's end
  std::size_t next = 0, end = 0;
  std::uint8_t buffer[32768];

  std::uint8_t* rows = nullptr;
  std::size_t stride = 0;
  std::uint32_t count = 0;
  int passes = 1;

  SPngState() = default;
  SPngState(const SPngState&) = delete;
  SPngState& operator=(const SPngState&) = delete;
  ~SPngState() { png_destroy_read_struct(&png, &info, nullptr); }

  void Run(void (*step)(SPngState&)) {
    if (CallLibrary(jump, *this, step)) return;
    throw CDamagedError(std::string("The PNG data is damaged: ") + text);
  }
};

[[noreturn]] void OnError(png_structp png, png_const_charp message) {
  auto& state = *static_cast<SPngState*>(png_get_error_ptr(png));
  std::strncpy(state.text, message, sizeof state.text - 1);
  std::longjmp(state.jump, 1);
}

void OnWarning(png_structp, png_const_charp) {}

void OnRead(png_structp png, png_bytep out, std::size_t size) {
  auto& state = *static_cast<SPngState*>(png_get_io_ptr(png));
  while (size != 0) {
    if (state.next == state.end) {
      state.next = 0;
      state.end = state.input->ReadAt(state.offset, state.buffer, sizeof state.buffer);
      state.offset += state.end;
      if (state.end == 0) png_error(png, "the file ends before the picture is complete");
    }
    const std::size_t count = std::min(size, state.end - state.next);
    std::memcpy(out, state.buffer + state.next, count);
    state.next += count;
    out += count;
    size -= count;
  }
}

class CLibpngRows final : public IPngRowSource {
 public:
  CLibpngRows(std::shared_ptr<const CInput> input, const SPngHeader& header, CRenderGuard& guard)
      : m_input(std::move(input)), m_rowBytes(header.RowBytes()), m_height(header.height), m_guard(guard) {
    // libpng holds two rows, as wide as the file says.
    guard.Reserve(CRenderGuard::Multiply(m_rowBytes + kRowPadding, 2));
    m_state.input = m_input.get();
    Begin();
    const bool agrees = png_get_image_width(m_state.png, m_state.info) == header.width &&
                        png_get_image_height(m_state.png, m_state.info) == header.height &&
                        png_get_rowbytes(m_state.png, m_state.info) == m_rowBytes;
    if (!agrees) throw CDamagedError("The PNG file has contradictory headers");
    if (m_state.passes > 1) ReadInterlaced();
  }

  SBand NextBand(std::uint32_t most) override {
    m_guard.CheckTime();
    const auto stride = static_cast<std::size_t>(m_rowBytes);
    const std::uint32_t count = std::min(most, m_height - m_done);
    if (m_state.passes > 1) {
      const SBand band{m_rows.data() + m_done * stride, stride, count};
      m_done += count;
      return band;
    }
    if (m_rows.size() < count * m_rowBytes) m_rows = m_guard.NewVector<std::uint8_t>(count * m_rowBytes);
    ReadRows(m_rows.data(), count);
    m_done += count;
    return {m_rows.data(), stride, count};
  }

 private:
  void Begin() {
    m_state.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &m_state, OnError, OnWarning);
    if (m_state.png == nullptr) throw std::bad_alloc();
    m_state.Run([](SPngState& s) {
      s.info = png_create_info_struct(s.png);
      if (s.info == nullptr) png_error(s.png, "there is not enough memory");
      png_set_read_fn(s.png, &s, OnRead);
      png_set_user_limits(s.png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);  // the guard limits pixels and memory
      png_set_chunk_malloc_max(s.png, kMaxChunk);
      png_set_chunk_cache_max(s.png, kMaxKeptChunks);
      // Texts and profiles were read with the header; libpng would unfold and keep each.
      png_set_keep_unknown_chunks(s.png, PNG_HANDLE_CHUNK_NEVER, nullptr, -1);
      png_set_crc_action(s.png, PNG_CRC_ERROR_QUIT, PNG_CRC_WARN_DISCARD);
      png_read_info(s.png, s.info);
      s.passes = png_set_interlace_handling(s.png);
      png_read_update_info(s.png, s.info);
    });
  }

  void ReadRows(std::uint8_t* rows, std::uint32_t count) {
    m_state.rows = rows;
    m_state.stride = static_cast<std::size_t>(m_rowBytes);
    m_state.count = count;
    m_state.Run([](SPngState& s) {
      for (std::uint32_t i = 0; i < s.count; ++i) png_read_row(s.png, s.rows + i * s.stride, nullptr);
    });
  }

  // Each pass fills in pixels of the whole picture.
  void ReadInterlaced() {
    constexpr std::uint32_t kBandRows = 64;
    m_rows = m_guard.NewVector<std::uint8_t>(CRenderGuard::Multiply(m_rowBytes, m_height));
    for (int pass = 0; pass < m_state.passes; ++pass) {
      for (std::uint32_t y = 0; y < m_height; y += kBandRows) {
        m_guard.CheckTime();
        ReadRows(m_rows.data() + y * m_rowBytes, std::min(kBandRows, m_height - y));
      }
    }
  }

  std::shared_ptr<const CInput> m_input;
  SPngState m_state;
  std::uint64_t m_rowBytes;
  std::uint32_t m_height;
  std::uint32_t m_done = 0;
  std::vector<std::uint8_t> m_rows;
  CRenderGuard& m_guard;
};

}  // namespace

std::unique_ptr<IPngRowSource> OpenLibpngRows(std::shared_ptr<const CInput> input, const SPngHeader& header,
                                              CRenderGuard& guard) {
  return std::make_unique<CLibpngRows>(std::move(input), header, guard);
}

}  // namespace imageformats
