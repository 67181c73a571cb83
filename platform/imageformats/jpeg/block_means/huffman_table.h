#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/imageformats/jpeg/block_means/bit_reader.h"

namespace imageformats {

// A coefficient as it stands in a sequential scan: a symbol and the bits of its value (T.81, F.2.2.1 and F.2.2.2).
struct SJpegCoefficient {
  std::int16_t value = 0;
  std::uint8_t bits = 0;     // that it takes; 0 for bits that are no code
  std::uint8_t advance = 0;  // coefficients it stands for, zeros included; 0 when it ends the block
};

// T.81, F.2.2.1, table F.1 turned around: the value that `size` bits stand for, 1 to 15.
inline int ExtendJpegValue(std::uint32_t bits, unsigned size) noexcept {
  const auto value = static_cast<int>(bits);
  return value < 1 << (size - 1) ? value - (1 << size) + 1 : value;
}

// A Huffman table (T.81, annex C) made for three uses: decoding single symbols, decoding coefficients, and stepping
// over AC coefficients without decoding them, several at a time.
class CJpegHuffmanTable {
 public:
  // `counts`: codes of each length 1..16; `symbols`: their values in order. False, and unusable, when they do not make
  // a prefix code.
  bool Build(std::span<const std::uint8_t, 16> counts, std::span<const std::uint8_t> symbols);
  bool IsBuilt() const noexcept { return !m_lookup.empty(); }

  // The next symbol; -1 for bits that are no code. Needs 16 bits refilled.
  int Decode(CJpegBitReader& bits) const noexcept {
    const SLookup& step = m_lookup[bits.Peek(kLookupBits)];
    if (step.codeBits != 0) {
      bits.Skip(step.codeBits);
      return step.symbol;
    }
    return DecodeLongCode(bits);
  }

  // The next coefficient of a sequential scan. Needs 31 bits refilled.
  SJpegCoefficient DecodeCoefficient(CJpegBitWindow& bits) const noexcept {
    const SJpegCoefficient coefficient = m_coefficients[bits.Peek(kCoefficientBits)];
    if (coefficient.bits == 0) return bits.Through([&](CJpegBitReader& all) { return DecodeLongCoefficient(all); });
    bits.Skip(coefficient.bits);
    return coefficient;
  }

  // Steps over a block's AC coefficients from the kth on. False for damaged data.
  bool SkipAcCoefficients(CJpegBitWindow& bits, unsigned k) const noexcept {
    while (k < 64) {
      bits.Refill();
      const SLookup step = m_lookup[bits.Peek(kLookupBits)];
      if (step.skipBits != 0 && k + step.skipCoefficients < 64) {
        bits.Skip(step.skipBits);
        k += step.skipCoefficients;
        if (step.skipEndsBlock) return true;
        continue;
      }
      const SJpegCoefficient one = DecodeCoefficient(bits);
      if (one.bits == 0) return false;
      if (one.advance == 0) return true;  // as libjpeg: any run of size 0 but 15 ends the block
      k += one.advance;
    }
    return true;
  }

 private:
  // Bits looked up at once; the tables stay in the first-level cache.
  static constexpr unsigned kLookupBits = 11, kCoefficientBits = 10;

  struct SLookup {
    std::uint8_t codeBits = 0;  // of the first symbol; 0 when its code is longer than the window
    std::uint8_t symbol = 0;
    std::uint8_t skipBits = 0;  // of all symbols whose codes the window shows, with their values' bits; at most 32
    std::uint8_t skipCoefficients : 7 = 0;  // coefficients they stand for
    std::uint8_t skipEndsBlock : 1 = 0;     // the last ends the block
  };

  int DecodeLongCode(CJpegBitReader& bits) const noexcept;
  SJpegCoefficient DecodeLongCoefficient(CJpegBitReader& bits) const noexcept;
  void BuildLookup();
  void BuildCoefficients();

  std::vector<SLookup> m_lookup;
  std::array<SJpegCoefficient, 1u << kCoefficientBits> m_coefficients{};
  std::vector<std::uint8_t> m_symbols;
  std::array<std::int32_t, 18> m_firstCode{};   // of each length
  std::array<std::int32_t, 18> m_firstIndex{};  // into m_symbols
  std::array<std::int32_t, 18> m_count{};
};

}  // namespace imageformats
