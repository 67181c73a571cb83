#include <zlib.h>

#include <algorithm>
#include <new>
#include <utility>

#include "platform/imageformats/arrays/byte_stream.h"
#include "platform/imageformats/base/format_error.h"

namespace imageformats {

namespace {

// zlib's window and tables.
constexpr std::uint64_t kInflateBytes = 48 << 10;
constexpr std::size_t kMostInflatedAtOnce = 1 << 20;

class CInflater {
 public:
  CInflater() {
    constexpr int kGzipOrZlib = 15 + 32;
    if (inflateInit2(&m_stream, kGzipOrZlib) != Z_OK) throw std::bad_alloc();
  }
  ~CInflater() { inflateEnd(&m_stream); }
  CInflater(const CInflater&) = delete;
  CInflater& operator=(const CInflater&) = delete;
  z_stream* operator->() noexcept { return &m_stream; }
  z_stream* Get() noexcept { return &m_stream; }

 private:
  z_stream m_stream{};
};

class CGzipStream final : public IByteStream {
 public:
  CGzipStream(std::shared_ptr<const CInput> input, std::uint64_t offset, CRenderGuard& guard)
      : m_pieces(std::move(input), offset, guard), m_guard(guard) {
    m_guard.Reserve(kInflateBytes);
  }
  ~CGzipStream() override { m_guard.Release(kInflateBytes); }

  std::size_t Read(std::uint8_t* out, std::size_t size) override {
    std::size_t done = 0;
    while (done < size && !m_atEnd) done += Unpack(out + done, std::min(size - done, kMostInflatedAtOnce));
    return done;
  }

 private:
  std::size_t Unpack(std::uint8_t* out, std::size_t size) {
    m_guard.CheckTime();
    if (m_inflater->avail_in == 0 && !Refill()) {
      if (m_between) return m_atEnd = true, 0;
      throw CDamagedError("The file is truncated: its compressed data end too early");
    }
    if (m_between && !BeginMember()) return 0;
    m_inflater->next_out = out;
    m_inflater->avail_out = static_cast<uInt>(size);
    const int result = inflate(m_inflater.Get(), Z_NO_FLUSH);
    if (result == Z_STREAM_END) {
      m_between = true;
    } else if (result != Z_OK && result != Z_BUF_ERROR) {
      throw CDamagedError("The compressed data are damaged");
    }
    return size - m_inflater->avail_out;
  }

  // Anything behind a member that is not another one is no part of the data.
  bool BeginMember() {
    if (m_any && *m_inflater->next_in != 0x1F) {
      m_atEnd = true;
      return false;
    }
    if (m_any) inflateReset(m_inflater.Get());
    m_any = true;
    m_between = false;
    return true;
  }

  bool Refill() {
    const CPackedPieces::SPiece piece = m_pieces.Next();
    m_inflater->next_in = piece.bytes;
    m_inflater->avail_in = static_cast<uInt>(piece.size);
    return piece.size != 0;
  }

  CInflater m_inflater;
  CPackedPieces m_pieces;
  CRenderGuard& m_guard;
  bool m_any = false;     // a member has begun
  bool m_between = true;  // no member is open
  bool m_atEnd = false;
};

}  // namespace

std::unique_ptr<IByteStream> OpenGzipStream(std::shared_ptr<const CInput> input, std::uint64_t offset,
                                            CRenderGuard& guard) {
  return std::make_unique<CGzipStream>(std::move(input), offset, guard);
}

}  // namespace imageformats
