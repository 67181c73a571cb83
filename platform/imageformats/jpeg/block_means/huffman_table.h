#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/imageformats/jpeg/block_means/bit_reader.h"

namespace imageformats {

// A Huffman table (T.81, annex C) made for two uses: decoding single symbols, and stepping over AC coefficients
// without decoding them, several at a time.
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

  // Steps over a block's AC coefficients from the kth on. False for damaged data.
  bool SkipAcCoefficients(CJpegBitReader& bits, unsigned k = 1) const noexcept {
    while (k < 64) {
      bits.Refill();
      const SLookup& step = m_lookup[bits.Peek(kLookupBits)];
      if (step.skipBits != 0 && k + step.skipCoefficients < 64) {
        bits.Skip(step.skipBits);
        k += step.skipCoefficients;
        if (step.skipEndsBlock) return true;
        continue;
      }
      const int symbol = Decode(bits);
      if (symbol < 0) return false;
      const unsigned size = static_cast<unsigned>(symbol) & 15;
      if (size == 0 && symbol != 0xF0) return true;  // as libjpeg: other runs of size 0 end the block
      k += static_cast<unsigned>(symbol >> 4) + 1;
      bits.Skip(size);
    }
    return true;
  }

 private:
  static constexpr unsigned kLookupBits = 11;  // bits looked up at once; the table stays in the first-level cache

  struct SLookup {
    std::uint8_t codeBits = 0;  // of the first symbol; 0 when its code is longer than the window
    std::uint8_t symbol = 0;
    std::uint8_t skipBits = 0;  // of all symbols whose codes the window shows, with their values' bits; at most 32
    std::uint8_t skipCoefficients : 7 = 0;  // coefficients they stand for
    std::uint8_t skipEndsBlock : 1 = 0;     // the last ends the block
  };

  int DecodeLongCode(CJpegBitReader& bits) const noexcept;
  void BuildLookup();

  std::vector<SLookup> m_lookup;
  std::vector<std::uint8_t> m_symbols;
  std::array<std::int32_t, 18> m_firstCode{};   // of each length
  std::array<std::int32_t, 18> m_firstIndex{};  // into m_symbols
  std::array<std::int32_t, 18> m_count{};
};

}  // namespace imageformats
