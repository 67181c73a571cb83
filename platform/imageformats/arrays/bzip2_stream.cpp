#include <bzlib.h>

#include <algorithm>
#include <new>
#include <utility>

#include "platform/imageformats/arrays/byte_stream.h"
#include "platform/imageformats/base/format_error.h"

namespace imageformats {

namespace {

// Of the largest blocks.
constexpr std::uint64_t kBzip2Bytes = 4 << 20;
constexpr std::size_t kMostUnzippedAtOnce = 1 << 20;

class CBzip2Decompressor {
 public:
  CBzip2Decompressor() {
    if (BZ2_bzDecompressInit(&m_stream, 0, 0) != BZ_OK) throw std::bad_alloc();
  }
  ~CBzip2Decompressor() { BZ2_bzDecompressEnd(&m_stream); }
  CBzip2Decompressor(const CBzip2Decompressor&) = delete;
  CBzip2Decompressor& operator=(const CBzip2Decompressor&) = delete;
  bz_stream* operator->() noexcept { return &m_stream; }
  bz_stream* Get() noexcept { return &m_stream; }

 private:
  bz_stream m_stream{};
};

class CBzip2Stream final : public IByteStream {
 public:
  CBzip2Stream(std::shared_ptr<const CInput> input, std::uint64_t offset, CRenderGuard& guard)
      : m_pieces(std::move(input), offset, guard), m_guard(guard) {
    m_guard.Reserve(kBzip2Bytes);
  }
  ~CBzip2Stream() override { m_guard.Release(kBzip2Bytes); }

  std::size_t Read(std::uint8_t* out, std::size_t size) override {
    std::size_t done = 0;
    while (done < size && !m_atEnd) done += Unpack(out + done, std::min(size - done, kMostUnzippedAtOnce));
    return done;
  }

 private:
  std::size_t Unpack(std::uint8_t* out, std::size_t size) {
    m_guard.CheckTime();
    if (m_piece.size == 0) m_piece = m_pieces.Next();
    if (m_piece.size == 0) {
      if (!m_decompressor && m_any) return m_atEnd = true, 0;
      throw CDamagedError("The file is truncated: its compressed data end too early");
    }
    if (!m_decompressor) m_decompressor = std::make_unique<CBzip2Decompressor>();
    m_any = true;
    CBzip2Decompressor& packed = *m_decompressor;
    packed->next_in = reinterpret_cast<char*>(m_piece.bytes);
    packed->avail_in = static_cast<unsigned>(m_piece.size);
    packed->next_out = reinterpret_cast<char*>(out);
    packed->avail_out = static_cast<unsigned>(size);
    const int result = BZ2_bzDecompress(packed.Get());
    if (result != BZ_OK && result != BZ_STREAM_END) throw CDamagedError("The compressed data are damaged");
    m_piece.bytes += m_piece.size - packed->avail_in;
    m_piece.size = packed->avail_in;
    const std::size_t unpacked = size - packed->avail_out;
    if (result == BZ_STREAM_END) m_decompressor.reset();
    return unpacked;
  }

  CPackedPieces m_pieces;
  CPackedPieces::SPiece m_piece;
  CRenderGuard& m_guard;
  std::unique_ptr<CBzip2Decompressor> m_decompressor;  // null between streams
  bool m_any = false, m_atEnd = false;
};

}  // namespace

std::unique_ptr<IByteStream> OpenBzip2Stream(std::shared_ptr<const CInput> input, std::uint64_t offset,
                                             CRenderGuard& guard) {
  return std::make_unique<CBzip2Stream>(std::move(input), offset, guard);
}

}  // namespace imageformats
