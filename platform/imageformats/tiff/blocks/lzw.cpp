#include "platform/imageformats/tiff/blocks/lzw.h"

#include <array>
#include <cstring>

#include "platform/imageformats/base/integers.h"
#include "platform/imageformats/base/running_sums.h"

namespace imageformats::tiff {
namespace {

constexpr unsigned kClearCode = 256, kEndOfInformation = 257, kFirstStringCode = 258, kMaxCodes = 4096;
constexpr unsigned kMinCodeBits = 9, kMaxCodeBits = 12;

// Codes from the high bit on. Behind the end of the data there are zeros; the caller asks whether any were read.
class CLzwCodeReader {
 public:
  explicit CLzwCodeReader(std::span<const std::uint8_t> stream) noexcept
      : m_next(stream.data()), m_end(stream.data() + stream.size()) {}

  unsigned Read(unsigned width) noexcept {
    if (m_count < width) Refill();
    const auto code = static_cast<unsigned>(m_bits >> (64 - width));
    m_bits <<= width;
    m_count -= width;
    return code;
  }
  bool IsOverrun() const noexcept { return m_padding > m_count; }

 private:
  void Refill() noexcept {
    if (m_end - m_next >= 8) {
      // What is more than whole bytes is there twice then, in the same place.
      m_bits |= IntegerAt(m_next, 8, true) >> m_count;
      m_next += (63 - m_count) / 8;
      m_count |= 56;
      return;
    }
    for (; m_count <= 56; m_count += 8) {
      if (m_next != m_end) {
        m_bits |= std::uint64_t{*m_next++} << (56 - m_count);
      } else {
        m_padding += 8;
      }
    }
  }

  const std::uint8_t *m_next, *m_end;
  std::uint64_t m_bits = 0;  // from the top
  unsigned m_count = 0;      // valid bits, padding included
  std::size_t m_padding = 0;
};

// Where the string of a code stands: in the table of single bytes, or among the bytes decoded already. A new string is
// the one before with the next byte behind it, and that is just how they stand there.
struct SLzwString {
  const std::uint8_t* text;
  std::size_t length;
};

struct SSingleBytes {
  std::array<std::uint8_t, 256 + kLzwSlack> values{};
  constexpr SSingleBytes() {
    for (unsigned i = 0; i < 256; ++i) values[i] = static_cast<std::uint8_t>(i);
  }
};
constexpr SSingleBytes kSingleBytes;

// Most strings are short: a fixed number of bytes is copied at once, and what is too much is overwritten later.
void Copy(std::uint8_t* out, const SLzwString& string) noexcept {
  for (std::size_t done = 0; done < string.length; done += kLzwSlack) {
    std::array<std::uint8_t, kLzwSlack> piece;
    std::memcpy(piece.data(), string.text + done, piece.size());
    std::memcpy(out + done, piece.data(), piece.size());
  }
}

// The string of the code that is made at this moment overlaps what it writes.
void CopyOverlapping(std::uint8_t* out, const SLzwString& string) noexcept {
  for (std::size_t i = 0; i < string.length; ++i) out[i] = string.text[i];
}

}  // namespace

bool DecodeLzw(std::span<const std::uint8_t> stream, std::uint8_t* out, std::size_t size) noexcept {
  std::array<SLzwString, kMaxCodes> strings;
  for (unsigned i = 0; i < 256; ++i) strings[i] = {kSingleBytes.values.data() + i, 1};
  CLzwCodeReader reader(stream);
  if (reader.Read(kMinCodeBits) != kClearCode) return false;
  std::uint8_t* const end = out + size;
  unsigned width = kMinCodeBits, nextCode = kFirstStringCode;
  SLzwString last = {nullptr, 0};  // as decoded; none after a clear code
  while (out != end) {
    const unsigned code = reader.Read(width);
    if (code == kClearCode) {
      width = kMinCodeBits;
      nextCode = kFirstStringCode;
      last = {nullptr, 0};
      if (reader.IsOverrun()) return false;
      continue;
    }
    if (last.length != 0) {
      if (nextCode == kMaxCodes) return false;
      strings[nextCode] = {last.text, last.length + 1};
      ++nextCode;
      // One earlier than needed: TIFF's way.
      if (nextCode + 1 == 1u << width && width < kMaxCodeBits) ++width;
    }
    if (code == kEndOfInformation || code >= nextCode) return false;
    const SLzwString& string = strings[code];
    if (string.length > static_cast<std::size_t>(end - out)) return false;
    // In this order: the first half is nearly always false, while single bytes and strings alternate unpredictably.
    if (code + 1 == nextCode && code >= kFirstStringCode) {
      CopyOverlapping(out, string);
    } else {
      Copy(out, string);
    }
    last = {out, string.length};
    out += string.length;
  }
  return !reader.IsOverrun();
}

void UndoHorizontalPredictor(std::uint8_t* row, std::size_t size, std::size_t samplesPerPixel) noexcept {
  switch (samplesPerPixel) {
    case 1:
      return AddPixelsToTheLeft<1>(row, size);
    case 2:
      return AddPixelsToTheLeft<2>(row, size);
    case 3:
      return AddPixelsToTheLeft<3>(row, size);
    case 4:
      return AddPixelsToTheLeft<4>(row, size);
    default:
      for (std::size_t i = samplesPerPixel; i < size; ++i) {
        row[i] = static_cast<std::uint8_t>(row[i] + row[i - samplesPerPixel]);
      }
  }
}

}  // namespace imageformats::tiff
