#include "platform/imageformats/arrays/array_bytes.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "platform/imageformats/arrays/byte_stream.h"
#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/base/integers.h"

namespace imageformats {

namespace {

constexpr std::size_t kSkippedAtOnce = 256 << 10;
// So much is unpacked behind what is shown, to learn whether the file is whole.
constexpr std::uint64_t kMostCheckedBehind = 32 << 20;

[[noreturn]] void ThrowTruncated() { throw CDamagedError("The file is truncated: it ends before its picture does"); }

class CRawArray final : public IArrayBytes {
 public:
  explicit CRawArray(const SArraySource& source) : m_input(source.input), m_start(source.offset) {
    const std::uint64_t size = m_input->Size();
    if (source.offset > size || source.skip > size - source.offset) ThrowTruncated();
    m_start += source.skip;
    if (source.size > size - m_start) ThrowTruncated();
  }

  void Read(std::uint64_t offset, std::uint8_t* out, std::size_t size) override {
    if (m_input->ReadAt(m_start + offset, out, size) != size) ThrowTruncated();
  }
  void Finish() override {}

 private:
  std::shared_ptr<const CInput> m_input;
  std::uint64_t m_start;
};

class CStreamedArray final : public IArrayBytes {
 public:
  CStreamedArray(const SArraySource& source, const SStoredSamples& samples, CRenderGuard& guard)
      : m_source(source),
        m_samples(samples),
        m_guard(guard),
        m_skipped(guard.NewVector<std::uint8_t>(kSkippedAtOnce)),
        m_stream(Open()) {}

  void Read(std::uint64_t offset, std::uint8_t* out, std::size_t size) override {
    GoTo(m_source.skip + offset);
    Take(out, size);
  }

  void Finish() override {
    const std::uint64_t end = m_source.skip + m_source.size;
    if (end - m_position > kMostCheckedBehind && !MustBeReadToTheEnd(end)) return;
    GoTo(end);
    // The check value stands behind the last byte.
    std::uint8_t behind;
    m_stream->Read(&behind, 1);
  }

 private:
  // gzip says at the end of a file how much it holds, modulo 4 GiB; bzip2 says nothing, and is slow.
  bool MustBeReadToTheEnd(std::uint64_t end) const noexcept {
    if (m_source.encoding == EArrayEncoding::kBzip2) return false;
    if (m_source.encoding != EArrayEncoding::kGzip) return true;
    const CInput& input = *m_source.input;
    return ReadInteger(input, input.Size() - 4, 4, false) != (end & 0xFFFFFFFFu);
  }

  std::unique_ptr<IByteStream> Open() const {
    switch (m_source.encoding) {
      case EArrayEncoding::kBzip2:
        return OpenBzip2Stream(m_source.input, m_source.offset, m_guard);
      case EArrayEncoding::kHex:
        return OpenHexStream(m_source.input, m_source.offset, m_guard);
      case EArrayEncoding::kText:
        return OpenNumberStream(m_source.input, m_source.offset, m_samples, m_guard);
      default:
        return OpenGzipStream(m_source.input, m_source.offset, m_guard);
    }
  }

  void GoTo(std::uint64_t position) {
    if (position < m_position) {
      m_stream.reset();
      m_stream = Open();
      m_position = 0;
    }
    while (m_position < position) {
      Take(m_skipped.data(),
           static_cast<std::size_t>(std::min<std::uint64_t>(position - m_position, m_skipped.size())));
    }
  }

  void Take(std::uint8_t* out, std::size_t size) {
    if (m_stream->Read(out, size) != size) ThrowTruncated();
    m_position += size;
  }

  const SArraySource m_source;
  const SStoredSamples m_samples;
  CRenderGuard& m_guard;
  std::vector<std::uint8_t> m_skipped;
  std::unique_ptr<IByteStream> m_stream;
  std::uint64_t m_position = 0;  // of the stream
};

}  // namespace

std::unique_ptr<IArrayBytes> OpenArrayBytes(const SArraySource& source, const SStoredSamples& samples,
                                            CRenderGuard& guard) {
  if (source.encoding == EArrayEncoding::kRaw) return std::make_unique<CRawArray>(source);
  return std::make_unique<CStreamedArray>(source, samples, guard);
}

}  // namespace imageformats
