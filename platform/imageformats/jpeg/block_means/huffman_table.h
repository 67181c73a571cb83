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
  // a prefix code. Only one for AC coefficients can step over them.
  bool Build(std::span<const std::uint8_t, 16> counts, std::span<const std::uint8_t> symbols, bool isAc);
  bool IsBuilt() const noexcept { return !m_codes.empty(); }

  // The next symbol; -1 for bits that are no code. Needs 16 bits refilled.
  int Decode(CJpegBitReader& bits) const noexcept {
    const SCode& code = m_codes[bits.Peek(kLookupBits)];
    if (code.bits != 0) {
      bits.Skip(code.bits);
      return code.symbol;
    }
    return DecodeLongCode(bits);
  }
  int Decode(CJpegBitWindow& bits) const noexcept {
    const SCode code = m_codes[bits.Peek(kLookupBits)];
    if (code.bits == 0) return bits.Through([&](CJpegBitReader& all) { return DecodeLongCode(all); });
    bits.Skip(code.bits);
    return code.symbol;
  }

  // The next coefficient of a sequential scan. Needs 27 bits refilled, and takes no more of them.
  SJpegCoefficient DecodeCoefficient(CJpegBitWindow& bits) const noexcept {
    const SJpegCoefficient coefficient = m_coefficients[bits.Peek(kCoefficientBits)];
    if (coefficient.bits != 0) {
      bits.Skip(coefficient.bits);
      return coefficient;
    }
    const SCode code = m_codes[bits.Peek(kLookupBits)];
    if (code.bits == 0) return bits.Through([&](CJpegBitReader& all) { return DecodeLongCoefficient(all); });
    bits.Skip(code.bits);
    return TakeValue(bits, code.symbol);
  }

  // Steps over a block's AC coefficients from the kth on. Returns where they end: the first behind the last that there
  // is a code for, k when the block ends at once; 0 for damaged data.
  unsigned SkipAcCoefficients(CJpegBitWindow& bits, unsigned k) const noexcept {
    while (k < 64) {
      bits.Refill();
      // Two at a time: what is refilled is enough for both.
      for (int i = 0; i < 2; ++i) {
        const std::uint32_t step = m_steps[bits.Peek(kLookupBits)];
        const unsigned next = k + (step >> kStepBits);
        if (next < 64) {
          bits.Skip(step & kMostStepBits);
          k = next;
          continue;
        }
        if (next - kEndsBlock < 64) {
          bits.Skip(step & kMostStepBits);
          return next - kEndsBlock;
        }
        const SJpegCoefficient one = bits.Through([&](CJpegBitReader& all) { return DecodeLongCoefficient(all); });
        if (one.bits == 0) return 0;
        if (one.advance == 0) return k;  // as libjpeg: any run of size 0 but 15 ends the block
        k += one.advance;
        break;
      }
    }
    return k;
  }

 private:
  // Bits looked up at once; the parts of the tables that are used stay in the first-level cache.
  static constexpr unsigned kLookupBits = 12, kCoefficientBits = 10;

  // A code that the window shows as a whole; 0 bits when there is none.
  struct SCode {
    std::uint8_t bits = 0, symbol = 0;
  };
  // All codes that the window shows one behind the other, with their values' bits, as far as these are of one block:
  // the bits, of which there are at most 27; above them the coefficients that they stand for, fewer than 64, with
  // kEndsBlock added when the last ends the block. kNone where there is no whole code.
  using CStep = std::uint16_t;
  static constexpr unsigned kStepBits = 6, kMostStepBits = (1u << kStepBits) - 1;
  static constexpr unsigned kNone = 64, kEndsBlock = 128;

  // The value of a symbol, its bits taken from a reader or a window.
  template <class Bits>
  static SJpegCoefficient TakeValue(Bits& bits, std::uint8_t symbol) noexcept {
    const unsigned size = symbol & 15u;
    const SJpegCoefficient coefficient = CoefficientOf(symbol, size == 0 ? 0 : bits.Peek(size), 1);
    bits.Skip(size);
    return coefficient;
  }
  static SJpegCoefficient CoefficientOf(std::uint8_t symbol, std::uint32_t valueBits, unsigned codeBits) noexcept {
    const unsigned run = symbol >> 4, size = symbol & 15u;
    SJpegCoefficient coefficient;
    coefficient.bits = static_cast<std::uint8_t>(codeBits + size);
    if (size != 0) coefficient.value = static_cast<std::int16_t>(ExtendJpegValue(valueBits, size));
    coefficient.advance = static_cast<std::uint8_t>(size == 0 && run != 15 ? 0 : run + 1);
    return coefficient;
  }
  int DecodeLongCode(CJpegBitReader& bits) const noexcept;
  SJpegCoefficient DecodeLongCoefficient(CJpegBitReader& bits) const noexcept;
  void BuildCodes();
  void BuildCoefficients();
  void BuildSteps();
  static void FillSteps(std::span<CStep> steps, std::uint8_t symbol, unsigned length, unsigned bits,
                        std::span<const std::vector<CStep>> windows);

  std::vector<SCode> m_codes;
  std::vector<CStep> m_steps;
  std::array<SJpegCoefficient, 1u << kCoefficientBits> m_coefficients{};
  std::vector<std::uint8_t> m_symbols;
  std::array<std::int32_t, 18> m_firstCode{};   // of each length
  std::array<std::int32_t, 18> m_firstIndex{};  // into m_symbols
  std::array<std::int32_t, 18> m_count{};
};

}  // namespace imageformats
