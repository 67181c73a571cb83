#include "platform/imageformats/jxl/jxl_stream.h"

#include <algorithm>
#include <new>

#include "platform/imageformats/base/format_error.h"

namespace imageformats {

namespace {

constexpr std::size_t kJxlPiece = 256u << 10;

}  // namespace

CJxlStream::CJxlStream(const CInput& input, int events, const CRenderGuard* guard)
    : m_input(input),
      m_guard(guard),
      m_library(JxlLibrary()),
      m_decoder(m_library.create(nullptr)),
      m_piece(static_cast<std::size_t>(std::min<std::uint64_t>(kJxlPiece, input.Size()))) {
  if (!m_decoder) throw std::bad_alloc();
  JxlDecoder* decoder = m_decoder.get();
  Require(m_library.subscribeEvents(decoder, events) == JXL_DEC_SUCCESS &&
              m_library.setKeepOrientation(decoder, JXL_TRUE) == JXL_DEC_SUCCESS &&
              m_library.setParallelRunner(decoder, RunInTurn, this) == JXL_DEC_SUCCESS,
          "libjxl refuses to decode");
}

JxlDecoderStatus CJxlStream::Next() {
  for (;;) {
    if (m_guard != nullptr) m_guard->CheckTime();
    const JxlDecoderStatus status = m_library.processInput(m_decoder.get());
    if (m_timeOut) std::rethrow_exception(m_timeOut);
    Require(status != JXL_DEC_ERROR, "The JPEG XL data are damaged");
    if (status != JXL_DEC_NEED_MORE_INPUT) return status;
    Feed();
  }
}

// What the decoder left of the last piece comes first in the next one: less than 20 bytes.
void CJxlStream::Feed() {
  const std::size_t left = m_library.releaseInput(m_decoder.get());
  const std::size_t room = m_piece.size() - left;
  std::copy_n(m_piece.begin() + static_cast<std::ptrdiff_t>(m_pieceSize - left), left, m_piece.begin());
  const std::size_t got = m_input.ReadAt(m_offset, m_piece.data() + left, room);
  Require(got != 0, "The JPEG XL file is truncated");
  m_offset += got;
  m_pieceSize = left + got;
  Require(m_library.setInput(m_decoder.get(), m_piece.data(), m_pieceSize) == JXL_DEC_SUCCESS,
          "The JPEG XL data are damaged");
  if (m_offset >= m_input.Size()) m_library.closeInput(m_decoder.get());
}

int CJxlStream::RunInTurn(void* self, void* work, JxlParallelRunInit start, JxlParallelRunFunction step,
                          std::uint32_t begin, std::uint32_t end) noexcept {
  if (begin >= end) return 0;
  if (const int refusal = start(work, 1); refusal != 0) return refusal;
  for (std::uint32_t i = begin; i < end; ++i) {
    if (!static_cast<CJxlStream*>(self)->MayGoOn()) return JXL_PARALLEL_RET_RUNNER_ERROR;
    step(work, i, 0);
  }
  return 0;
}

// No exception may pass through libjxl.
bool CJxlStream::MayGoOn() noexcept {
  if (m_guard == nullptr) return true;
  try {
    m_guard->CheckTime();
    return true;
  } catch (...) {
    m_timeOut = std::current_exception();
    return false;
  }
}

}  // namespace imageformats
