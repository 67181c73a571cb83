#include "platform/imageformats/tiff/ome/ome_planes.h"

#include <algorithm>

namespace imageformats::tiff {
namespace {

// A counter of three digits whose order the dimension order gives, the first running fastest.
class CPlaneCounter {
 public:
  CPlaneCounter(const SOmeImage& image, std::uint32_t channelPlanes) {
    for (std::size_t i = 0; i < 3; ++i) {
      const char axis = image.dimensionOrder[2 + i];
      m_axes[i] = axis;
      m_sizes[i] = axis == 'Z' ? image.sizeZ : axis == 'T' ? image.sizeT : channelPlanes;
    }
  }

  bool Set(std::uint32_t z, std::uint32_t c, std::uint32_t t) noexcept {
    for (std::size_t i = 0; i < 3; ++i) {
      m_values[i] = m_axes[i] == 'Z' ? z : m_axes[i] == 'T' ? t : c;
      if (m_values[i] >= m_sizes[i]) return false;
    }
    return true;
  }
  // False behind the last plane.
  bool Next() noexcept {
    for (std::size_t i = 0; i < 3; ++i) {
      if (++m_values[i] < m_sizes[i]) return true;
      m_values[i] = 0;
    }
    return false;
  }
  std::uint32_t Get(char axis) const noexcept { return m_values[axis == m_axes[0] ? 0 : axis == m_axes[1] ? 1 : 2]; }

 private:
  char m_axes[3];
  std::uint32_t m_sizes[3];
  std::uint32_t m_values[3] = {};
};

// The number of an element's first channel as a plane: writers count samples or channels.
std::uint32_t FirstChannelPlane(const SOmeImage& image, std::uint32_t firstC, std::uint32_t channelPlanes) noexcept {
  if (firstC < channelPlanes) return firstC;
  return firstC / std::max(image.sizeC / channelPlanes, 1u);
}

}  // namespace

void VisitOmePlanes(const SOmeImage& image, std::uint32_t channelPlanes,
                    const std::function<std::size_t(const SOmeTiffData&)>& planesInFile,
                    const std::function<bool(const SOmePlaneRef&)>& visit) {
  CPlaneCounter counter(image, channelPlanes);
  std::size_t visited = 0;
  const std::size_t elements = std::max<std::size_t>(image.tiffData.size(), 1);
  for (std::size_t i = 0; i < elements; ++i) {
    const SOmeTiffData& data = image.TiffData(i);
    if (!counter.Set(data.firstZ, FirstChannelPlane(image, data.firstC, channelPlanes), data.firstT)) continue;
    const std::size_t all = data.ifd ? 1 : planesInFile(data);
    const std::size_t count = data.planeCount ? *data.planeCount : all;
    std::uint32_t ifd = data.ifd.value_or(0);
    for (std::size_t k = 0; k < count; ++k, ++ifd) {
      if (++visited > kMaxOmePlanes) return;
      if (!visit({counter.Get('Z'), counter.Get('C'), counter.Get('T'), i, ifd})) return;
      if (!counter.Next()) break;
    }
  }
}

}  // namespace imageformats::tiff
