#include "platform/imageformats/jpeg/block_means/huffman_table.h"

#include <algorithm>
#include <utility>

namespace imageformats {

bool CJpegHuffmanTable::Build(std::span<const std::uint8_t, 16> counts, std::span<const std::uint8_t> symbols,
                              bool isAc) {
  m_codes.clear();
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
  BuildCodes();
  BuildCoefficients();
  if (isAc) BuildSteps();
  return true;
}

void CJpegHuffmanTable::BuildCodes() {
  m_codes.assign(std::size_t{1} << kLookupBits, {});
  for (unsigned length = 1; length <= kLookupBits; ++length) {
    for (std::int32_t i = 0; i < m_count[length]; ++i) {
      const auto code = static_cast<std::size_t>(m_firstCode[length] + i);
      const std::uint8_t symbol = m_symbols[static_cast<std::size_t>(m_firstIndex[length] + i)];
      const unsigned rest = kLookupBits - length;
      std::fill_n(m_codes.begin() + static_cast<std::ptrdiff_t>(code << rest), std::size_t{1} << rest,
                  SCode{static_cast<std::uint8_t>(length), symbol});
    }
  }
}

// Windows of one bit, two and so on: what a code leaves of a window has been looked at as one of fewer bits.
void CJpegHuffmanTable::BuildSteps() {
  std::array<std::vector<CStep>, kLookupBits + 1> windows;
  windows[0].resize(1);
  for (unsigned bits = 1; bits <= kLookupBits; ++bits) {
    windows[bits].resize(std::size_t{1} << bits);
    for (unsigned length = 1; length <= bits; ++length) {
      for (std::int32_t i = 0; i < m_count[length]; ++i) {
        const auto code = static_cast<std::size_t>(m_firstCode[length] + i);
        const std::span of(windows[bits].data() + (code << (bits - length)), std::size_t{1} << (bits - length));
        const std::uint8_t symbol = m_symbols[static_cast<std::size_t>(m_firstIndex[length] + i)];
        FillSteps(of, symbol, length, bits, windows);
      }
    }
  }
  m_steps = std::move(windows[kLookupBits]);
  std::replace(m_steps.begin(), m_steps.end(), CStep{0}, static_cast<CStep>(kNone << kStepBits));
}

// `steps`: of the windows of so many bits that begin with the symbol.
void CJpegHuffmanTable::FillSteps(std::span<CStep> steps, std::uint8_t symbol, unsigned length, unsigned bits,
                                  std::span<const std::vector<CStep>> windows) {
  const unsigned run = symbol >> 4, size = symbol & 15, taken = length + size;
  const bool isEnd = size == 0 && run != 15;
  const auto step = static_cast<CStep>(taken | (isEnd ? kEndsBlock : run + 1) << kStepBits);
  if (isEnd || taken >= bits) {
    std::fill(steps.begin(), steps.end(), step);
    return;
  }
  const std::vector<CStep>& rest = windows[bits - taken];
  for (auto out = steps.begin(); out != steps.end(); out += static_cast<std::ptrdiff_t>(rest.size())) {
    std::transform(rest.begin(), rest.end(), out, [step](CStep further) {
      const auto both = static_cast<CStep>(step + further);
      return (both >> kStepBits & kNone) != 0 ? step : both;
    });
  }
}

void CJpegHuffmanTable::BuildCoefficients() {
  for (unsigned window = 0; window < m_coefficients.size(); ++window) {
    const SCode& code = m_codes[window << (kLookupBits - kCoefficientBits)];
    const unsigned size = code.symbol & 15u, bits = code.bits + size;
    const bool fits = code.bits != 0 && bits <= kCoefficientBits;
    const unsigned value = fits ? window >> (kCoefficientBits - bits) & ((1u << size) - 1) : 0;
    m_coefficients[window] = fits ? CoefficientOf(code.symbol, value, code.bits) : SJpegCoefficient{};
  }
}

SJpegCoefficient CJpegHuffmanTable::DecodeLongCoefficient(CJpegBitReader& bits) const noexcept {
  bits.Refill();
  const int symbol = Decode(bits);
  return symbol < 0 ? SJpegCoefficient{} : TakeValue(bits, static_cast<std::uint8_t>(symbol));
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
