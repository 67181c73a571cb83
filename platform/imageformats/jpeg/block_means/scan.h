#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "platform/imageformats/jpeg/block_means/frame.h"

namespace imageformats {

// One scan's header (T.81, B.2.3).
struct SJpegScan {
  struct SScanComponent {
    SJpegComponent* component = nullptr;
    const CJpegHuffmanTable* dc = nullptr;
    const CJpegHuffmanTable* ac = nullptr;
  };
  std::vector<SScanComponent> components;
  unsigned spectralStart = 0, spectralEnd = 0;           // Ss, Se: coefficients in zigzag order
  unsigned approximationHigh = 0, approximationLow = 0;  // Ah, Al: bits of them

  bool ParseHeader(std::span<const std::uint8_t> payload, SJpegFrame& frame);
};

// Decodes at `bits` what the means need of the scan: DC coefficients, and AC coefficients of components with details.
// False for damage.
bool DecodeScan(const SJpegFrame& frame, const SJpegScan& scan, CJpegBitReader& bits, CRenderGuard& guard);

}  // namespace imageformats
