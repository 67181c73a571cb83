#include "platform/imageformats/jpeg/block_means/huffman_table.h"

#include <algorithm>

namespace imageformats {

bool CJpegHuffmanTable::Build(std::span<const std::uint8_t, 16> counts, std::span<const std::uint8_t> symbols) {
  m_lookup.clear();
  m_symbols.assign(symbols.begin(), symbols.end());
  std::int32_t code = 0, index = 0;
  for (std::size_t length = 1; length <= 16; ++length, code *= 2) {
    m_firstCode[length] = code;
    m_firstIndex[length] = index;
    m_count[length] = counts[length - 1];
    code += counts[length - 1];
    index += counts[length - 1];
    if (code > 1 << length) return false;
  }
  if (static_cast<std::size_t>(index) > symbols.size()) return false;
  BuildLookup();
  BuildCoefficients();
  return true;
}

void CJpegHuffmanTable::BuildLookup() {
  m_lookup.assign(std::size_t{1} << kLookupBits, {});
  for (unsigned length = 1; length <= kLookupBits; ++length) {
    for (std::int32_t i = 0; i < m_count[length]; ++i) {
      const auto code = static_cast<std::size_t>(m_firstCode[length] + i);
      SLookup step;
      step.codeBits = static_cast<std::uint8_t>(length);
      step.symbol = m_symbols[static_cast<std::size_t>(m_firstIndex[length] + i)];
      const unsigned rest = kLookupBits - length;
      std::fill_n(m_lookup.begin() + static_cast<std::ptrdiff_t>(code << rest), std::size_t{1} << rest, step);
    }
  }
  constexpr std::size_t kMask = (std::size_t{1} << kLookupBits) - 1;
  for (std::size_t window = 0; window <= kMask; ++window) {
    SLookup& many = m_lookup[window];
    unsigned bits = 0, advance = 0;
    bool end = false;
    while (bits < kLookupBits && !end) {
      const SLookup& one = m_lookup[(window << bits) & kMask];
      if (one.codeBits == 0 || bits + one.codeBits > kLookupBits) break;
      const unsigned size = one.symbol & 15;
      end = size == 0 && one.symbol != 0xF0;
      const unsigned step = end ? 0 : (one.symbol >> 4) + 1u;
      bits += one.codeBits + size;
      advance += step;
    }
    many.skipBits = static_cast<std::uint8_t>(bits);
    many.skipCoefficients = static_cast<std::uint8_t>(std::min(advance, 127u) & 127);
    many.skipEndsBlock = end;
  }
}

namespace {

SJpegCoefficient CoefficientOf(int symbol, std::uint32_t valueBits, unsigned codeBits) noexcept {
  const unsigned run = static_cast<unsigned>(symbol) >> 4, size = static_cast<unsigned>(symbol) & 15;
  SJpegCoefficient coefficient;
  coefficient.bits = static_cast<std::uint8_t>(codeBits + size);
  if (size != 0) coefficient.value = static_cast<std::int16_t>(ExtendJpegValue(valueBits, size));
  coefficient.advance = static_cast<std::uint8_t>(size == 0 && run != 15 ? 0 : run + 1);
  return coefficient;
}

}  // namespace

void CJpegHuffmanTable::BuildCoefficients() {
  for (unsigned window = 0; window < m_coefficients.size(); ++window) {
    const SLookup& code = m_lookup[window << (kLookupBits - kCoefficientBits)];
    const unsigned size = code.symbol & 15u, bits = code.codeBits + size;
    const bool fits = code.codeBits != 0 && bits <= kCoefficientBits;
    const unsigned value = fits ? window >> (kCoefficientBits - bits) & ((1u << size) - 1) : 0;
    m_coefficients[window] = fits ? CoefficientOf(code.symbol, value, code.codeBits) : SJpegCoefficient{};
  }
}

SJpegCoefficient CJpegHuffmanTable::DecodeLongCoefficient(CJpegBitReader& bits) const noexcept {
  const int symbol = Decode(bits);
  if (symbol < 0) return {};
  const unsigned size = static_cast<unsigned>(symbol) & 15;
  const SJpegCoefficient coefficient = CoefficientOf(symbol, size == 0 ? 0 : bits.Peek(size), 1);
  bits.Skip(size);
  return coefficient;
}

int CJpegHuffmanTable::DecodeLongCode(CJpegBitReader& bits) const noexcept {
  const auto peeked = static_cast<std::int32_t>(bits.Peek(16));
  for (unsigned length = kLookupBits + 1; length <= 16; ++length) {
    const std::int32_t offset = (peeked >> (16 - length)) - m_firstCode[length];
    if (offset >= 0 && offset < m_count[length]) {
      bits.Skip(length);
      return m_symbols[static_cast<std::size_t>(m_firstIndex[length] + offset)];
    }
  }
  return -1;
}

}  // namespace imageformats
