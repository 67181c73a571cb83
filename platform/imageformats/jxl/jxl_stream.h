#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <vector>

#include "platform/imageformats/base/input.h"
#include "platform/imageformats/base/render_guard.h"
#include "platform/imageformats/jxl/jxl_library.h"

namespace imageformats {

// A decoder of libjxl that is fed a file piece by piece, on the calling thread; the only owner of its objects.
class CJxlStream {
 public:
  // `events` as of JxlDecoderSubscribeEvents. With a guard the time is looked at between pieces and between the groups
  // of a picture. Input and guard must outlive the stream. Throws CUnsupportedError without the library.
  CJxlStream(const CInput& input, int events, const CRenderGuard* guard);
  CJxlStream(const CJxlStream&) = delete;
  CJxlStream& operator=(const CJxlStream&) = delete;

  // The next event; JXL_DEC_SUCCESS at the end. Throws CDamagedError, also for a file that ends too early.
  JxlDecoderStatus Next();

  const SJxlLibrary& Library() const noexcept { return m_library; }
  JxlDecoder* Decoder() const noexcept { return m_decoder.get(); }

 private:
  struct SDestroy {
    void operator()(JxlDecoder* decoder) const noexcept { FindJxlLibrary()->destroy(decoder); }
  };

  // libjxl's way to share out work among threads; here one does it all.
  static int RunInTurn(void* self, void* work, JxlParallelRunInit start, JxlParallelRunFunction step,
                       std::uint32_t begin, std::uint32_t end) noexcept;
  bool MayGoOn() noexcept;
  void Feed();

  const CInput& m_input;
  const CRenderGuard* m_guard;
  const SJxlLibrary& m_library;
  std::unique_ptr<JxlDecoder, SDestroy> m_decoder;
  std::vector<std::uint8_t> m_piece;
  std::size_t m_pieceSize = 0;
  std::uint64_t m_offset = 0;
  std::exception_ptr m_timeOut;
};

}  // namespace imageformats
