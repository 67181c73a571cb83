#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <string_view>
#include <utility>

#include "platform/imageformats/arrays/byte_stream.h"
#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/base/text.h"

namespace imageformats {

namespace {

class CCharacters {
 public:
  CCharacters(std::shared_ptr<const CInput> input, std::uint64_t offset, CRenderGuard& guard)
      : m_pieces(std::move(input), offset, guard) {}

  // -1 at the end.
  int Next() {
    if (m_at == m_piece.size) {
      m_piece = m_pieces.Next();
      m_at = 0;
      if (m_piece.size == 0) return -1;
    }
    return m_piece.bytes[m_at++];
  }

 private:
  CPackedPieces m_pieces;
  CPackedPieces::SPiece m_piece;
  std::size_t m_at = 0;
};

bool IsBlank(int c) noexcept { return c == ' ' || (c >= '\t' && c <= '\r'); }

int HexDigit(int c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  throw CDamagedError("The hexadecimal data are damaged");
}

class CHexStream final : public IByteStream {
 public:
  CHexStream(std::shared_ptr<const CInput> input, std::uint64_t offset, CRenderGuard& guard)
      : m_characters(std::move(input), offset, guard) {}

  std::size_t Read(std::uint8_t* out, std::size_t size) override {
    for (std::size_t i = 0; i < size; ++i) {
      const int high = NextSolid();
      if (high < 0) return i;
      out[i] = static_cast<std::uint8_t>(HexDigit(high) << 4 | HexDigit(NextSolid()));
    }
    return size;
  }

 private:
  int NextSolid() {
    int c = m_characters.Next();
    while (IsBlank(c)) c = m_characters.Next();
    return c;
  }
  CCharacters m_characters;
};

template <class T>
T NumberOf(std::string_view text) {
  T value{};
  if (text.starts_with('+')) text.remove_prefix(1);
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) throw CDamagedError("The data hold what is no number");
  return value;
}

class CNumberStream final : public IByteStream {
 public:
  CNumberStream(std::shared_ptr<const CInput> input, std::uint64_t offset, const SStoredSamples& samples,
                CRenderGuard& guard)
      : m_characters(std::move(input), offset, guard), m_samples(samples) {}

  std::size_t Read(std::uint8_t* out, std::size_t size) override {
    for (std::size_t i = 0; i < size; ++i) {
      if (m_used == m_sample.size() && !NextSample()) return i;
      out[i] = m_sample[m_used++];
    }
    return size;
  }

 private:
  static constexpr std::size_t kLongestNumber = 64;

  std::string_view NextWord() {
    int c = m_characters.Next();
    while (IsBlank(c) || c == ',') c = m_characters.Next();
    std::size_t length = 0;
    for (; c >= 0 && !IsBlank(c) && c != ','; c = m_characters.Next()) {
      if (length == kLongestNumber) throw CDamagedError("The data hold what is no number");
      m_word[length++] = static_cast<char>(c);
    }
    return {m_word, length};
  }

  bool NextSample() {
    const std::string_view word = NextWord();
    if (word.empty()) return false;
    m_used = 0;
    if (m_samples.kind == SStoredSamples::EKind::kFloat) {
      m_samples.bytes == 8 ? Put(NumberOf<double>(word)) : Put(NumberOf<float>(word));
    } else if (m_samples.kind == SStoredSamples::EKind::kSigned) {
      PutInteger(NumberOf<std::int64_t>(word));
    } else {
      PutInteger(NumberOf<std::uint64_t>(word));
    }
    return true;
  }

  template <class T>
  void Put(T value) {
    m_sample.resize(sizeof value);
    std::memcpy(m_sample.data(), &value, sizeof value);
  }
  template <class T>
  void PutInteger(T value) {
    switch (m_samples.bytes) {
      case 1:
        return Put(static_cast<std::uint8_t>(value));
      case 2:
        return Put(static_cast<std::uint16_t>(value));
      case 4:
        return Put(static_cast<std::uint32_t>(value));
      default:
        return Put(value);
    }
  }

  CCharacters m_characters;
  SStoredSamples m_samples;
  char m_word[kLongestNumber] = {};
  std::vector<std::uint8_t> m_sample;
  std::size_t m_used = 0;
};

}  // namespace

std::unique_ptr<IByteStream> OpenHexStream(std::shared_ptr<const CInput> input, std::uint64_t offset,
                                           CRenderGuard& guard) {
  return std::make_unique<CHexStream>(std::move(input), offset, guard);
}

std::unique_ptr<IByteStream> OpenNumberStream(std::shared_ptr<const CInput> input, std::uint64_t offset,
                                              const SStoredSamples& samples, CRenderGuard& guard) {
  return std::make_unique<CNumberStream>(std::move(input), offset, samples, guard);
}

}  // namespace imageformats
