#include "platform/picture/stretch_axis.h"

#include <numeric>

#include "picture/qvpicbuf.h"

namespace {

std::uint32_t U32(std::uint64_t value) { return static_cast<std::uint32_t>(value); }

}  // namespace

CStretchAxis::CStretchAxis(std::uint32_t source, std::uint32_t destination, std::int32_t mode) {
  m_taps.reserve(destination);
  if (mode == CQvPicBufAPI_GeomTrans::kStretchNearest) {
    MakeNearest(source, destination);
  } else if (mode == CQvPicBufAPI_GeomTrans::kStretchArea && source >= destination) {
    MakeArea(source, destination);
  } else {
    MakeBilinear(source, destination);
  }
}

void CStretchAxis::MakeNearest(std::uint64_t source, std::uint64_t destination) {
  for (std::uint64_t d = 0; d < destination; ++d) {
    m_taps.push_back({U32((2 * d + 1) * source / (2 * destination)), 1, 1, 0});
  }
}

// Pixel centres are aligned: destination centre d + 1/2 lies at source position (d + 1/2) * source / destination. In
// units of 1 / (2 * destination) the distance from the first source centre is a whole number.
void CStretchAxis::MakeBilinear(std::uint64_t source, std::uint64_t destination) {
  const std::uint64_t unit = 2 * destination;
  m_total = U32(unit);
  for (std::uint64_t d = 0; d < destination; ++d) {
    const std::uint64_t centre = (2 * d + 1) * source;
    const std::uint64_t position = centre > destination ? centre - destination : 0;
    const std::uint64_t begin = position / unit;
    const std::uint64_t rest = position % unit;
    if (rest == 0 || begin + 1 >= source) {
      m_taps.push_back({U32(begin), 1, m_total, 0});
    } else {
      m_taps.push_back({U32(begin), 2, U32(unit - rest), U32(rest)});
    }
  }
}

// In units of 1 / destination (both lengths reduced by their common divisor) a source sample is `destination` long and
// a destination sample `source`; a weight is the length of their overlap.
void CStretchAxis::MakeArea(std::uint64_t source, std::uint64_t destination) {
  const std::uint64_t divisor = std::gcd(source, destination);
  const std::uint64_t span = source / divisor;
  const std::uint64_t inner = destination / divisor;
  m_inner = U32(inner);
  m_total = U32(span);
  for (std::uint64_t d = 0; d < destination; ++d) {
    const std::uint64_t low = d * span;
    const std::uint64_t high = low + span;
    const std::uint64_t begin = low / inner;
    const std::uint64_t final = (high - 1) / inner;
    if (begin == final) {
      m_taps.push_back({U32(begin), 1, m_total, 0});
    } else {
      m_taps.push_back({U32(begin), U32(final - begin + 1), U32((begin + 1) * inner - low), U32(high - final * inner)});
    }
  }
}
