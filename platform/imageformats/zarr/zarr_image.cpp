#include "platform/imageformats/zarr/zarr_image.h"

#include <cstring>
#include <utility>

#include "platform/imageformats/base/text.h"
#include "platform/imageformats/planes/picture_samples.h"
#include "platform/imageformats/zarr/describe.h"
#include "platform/imageformats/zarr/zarr_planes.h"

namespace imageformats::zarr {

namespace {

std::unique_ptr<IStore> OpenStore(const std::shared_ptr<const CInput>& input) {
  return input->IsFolder() ? OpenFolderStore(input) : OpenZipStore(input);
}

// The folder's or archive's own name.
std::string NameOf(const CInput& input) {
  std::string path = CQvStringUtils::WtoUTF8(input.Path()).Str();
  while (!path.empty() && path.back() == '/') path.pop_back();
  return path.substr(path.find_last_of("/\\") + 1);
}

}  // namespace

CZarrImage::CZarrImage(std::shared_ptr<const CInput> input) : m_input(std::move(input)) {
  CRenderGuard guard(LimitsFor(m_input->Size()));
  m_store = OpenStore(m_input);
  m_found = FindPicture(*m_store, guard);
  m_picture = ReadMultiscale(*m_store, m_found.key, m_found.attributes, guard);
  m_stack = StackOf(m_picture);
  m_info = InfoOf(m_picture);
}

void CZarrImage::Render(const SRenderRequest& request, SQvPicBuf& picture, CRenderGuard& guard) {
  CZarrPlanes planes(*m_store, m_picture);
  RenderPlanes(m_stack, planes, request, picture, guard);
}

void CZarrImage::Read(SQvPicBuf& picture, CRenderGuard& guard) {
  const SStoredSamples& stored = m_picture.levels.front().layout.samples;
  const ESampleType type = LoadedType(stored);
  const std::uint32_t bytes = m_info.bpcInMemory / 8u;
  SPlaneIndex plane;
  plane.z = m_stack.sizeZ / 2;
  CZarrPlanes planes(*m_store, m_picture);
  SDisplayRange range;
  if (stored.kind == SStoredSamples::EKind::kFloat) {
    CSampleExtremes extremes;
    planes.ReadFull(
        plane,
        [&](std::uint32_t, std::uint32_t, SSize band, const void* samples) {
          extremes.Include(type, samples, std::size_t{band.width} * band.height);
        },
        guard);
    range = extremes.Range();
  }
  CPictureSamples converter(type, stored.bytes * 8, range);
  const auto place = [&](std::uint32_t x, std::uint32_t y, SSize band, const void* samples) {
    const auto* from =
        static_cast<const std::uint8_t*>(converter.Convert(samples, std::size_t{band.width} * band.height));
    for (std::uint32_t row = 0; row < band.height; ++row) {
      std::uint8_t* to = static_cast<std::uint8_t*>(picture.data) + std::size_t{y + row} * picture.widthBytes;
      std::memcpy(to + std::size_t{x} * bytes, from + std::size_t{row} * band.width * bytes,
                  std::size_t{band.width} * bytes);
    }
  };
  planes.ReadFull(plane, place, guard);
}

SImageMetadata CZarrImage::Metadata() { return Describe(m_picture, m_found, m_stack, m_info, NameOf(*m_input)); }

}  // namespace imageformats::zarr
