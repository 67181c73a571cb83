#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/imageformats/base/input.h"
#include "platform/imageformats/base/render_guard.h"
#include "platform/imageformats/planes/stored_samples.h"

namespace imageformats {

// Bytes that can only be read from the first to the last. Used by one thread.
class IByteStream {
 public:
  virtual ~IByteStream() = default;
  // Fills `out`; fewer bytes only at the end of the data. Throws CDamagedError for data that do not unpack or end too
  // early, and when the guard's time is over.
  virtual std::size_t Read(std::uint8_t* out, std::size_t size) = 0;
};

// What is read from `offset` on; the guard must outlive the stream. Memory is given back with the stream.
// gzip or zlib, also of several members.
std::unique_ptr<IByteStream> OpenGzipStream(std::shared_ptr<const CInput> input, std::uint64_t offset,
                                            CRenderGuard& guard);
// bzip2, also of several streams.
std::unique_ptr<IByteStream> OpenBzip2Stream(std::shared_ptr<const CInput> input, std::uint64_t offset,
                                             CRenderGuard& guard);
// Two hexadecimal digits for each byte; white space between them is passed over.
std::unique_ptr<IByteStream> OpenHexStream(std::shared_ptr<const CInput> input, std::uint64_t offset,
                                           CRenderGuard& guard);
// Decimal numbers between white space or commas, as samples of this machine's byte order; `samples` is their type.
std::unique_ptr<IByteStream> OpenNumberStream(std::shared_ptr<const CInput> input, std::uint64_t offset,
                                              const SStoredSamples& samples, CRenderGuard& guard);

// The first `size` bytes of the content, unpacked when they are gzip; fewer when there are not so many. Throws as
// streams do.
std::vector<std::uint8_t> UnpackedHead(const CInput& input, std::size_t size);
bool IsGzip(const CInput& input) noexcept;

// The pieces in which packed data are read.
class CPackedPieces {
 public:
  CPackedPieces(std::shared_ptr<const CInput> input, std::uint64_t offset, CRenderGuard& guard);
  ~CPackedPieces();
  CPackedPieces(const CPackedPieces&) = delete;
  CPackedPieces& operator=(const CPackedPieces&) = delete;

  struct SPiece {
    std::uint8_t* bytes = nullptr;
    std::size_t size = 0;  // 0 at the end
  };
  // Valid until the next call. Asks the guard for time.
  SPiece Next();

 private:
  std::shared_ptr<const CInput> m_input;
  std::uint64_t m_offset;
  CRenderGuard& m_guard;
  std::vector<std::uint8_t> m_bytes;
};

}  // namespace imageformats
