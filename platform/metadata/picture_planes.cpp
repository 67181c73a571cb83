#include <new>
#include <stdexcept>
#include <utility>

#include "metadata/qvpictureplanes.h"
#include "platform/metadata/lite_level.h"
#include "platform/metadata/serialized_crc.h"
#include "system/qvstatus.h"

// The layout of planes in the serialisation (names are part of the stored format and never change meaning):
//
//   V uint    layout version
//   P level   one per plane: n string name, k uint colour, w doubles excitation, emission, m uint modality,
//             c uint components

namespace {

constexpr std::uint64_t kPlanesVersion = 1;
constexpr std::size_t kMaxPlanes = 4096;

bool SavePlane(CQvLiteVariantW& writer, const SQvPicturePlane& plane) {
  const CLiteLevelW level(writer, L"P");
  const double wavelengths[] = {plane.excitationWavelength, plane.emissionWavelength};
  return level.IsOpen() && writer.WriteString(L"n", plane.name) == 0 && writer.WriteUInt(L"k", plane.color) == 0 &&
         writer.WriteDoubles(L"w", wavelengths, 2) == 0 && writer.WriteUInt(L"m", plane.modality) == 0 &&
         writer.WriteUInt(L"c", plane.components) == 0;
}

bool Save(CQvLiteVariantW& writer, const SQvPicturePlanes& planes) {
  if (writer.WriteUInt(L"V", kPlanesVersion) != 0) return false;
  for (const SQvPicturePlane& plane : planes.planes) {
    if (!SavePlane(writer, plane)) return false;
  }
  return true;
}

bool LoadPlane(CQvLiteVariantR& reader, SQvPicturePlane* plane) {
  std::vector<double> wavelengths;
  if (reader.ReadString(L"n", &plane->name) != 0 || !ReadU32(reader, L"k", &plane->color) ||
      reader.ReadDoubles(L"w", &wavelengths) != 0 || wavelengths.size() != 2) {
    return false;
  }
  plane->excitationWavelength = wavelengths[0];
  plane->emissionWavelength = wavelengths[1];
  return ReadU32(reader, L"m", &plane->modality) && ReadU32(reader, L"c", &plane->components);
}

bool Load(CQvLiteVariantR& reader, std::vector<SQvPicturePlane>* planes) {
  std::uint64_t version = 0;
  if (reader.ReadUInt(L"V", &version) != 0 || version != kPlanesVersion) return false;
  while (true) {
    const CLiteLevelR level(reader, L"P");
    if (!level.IsOpen()) return true;
    if (planes->size() == kMaxPlanes || !LoadPlane(reader, &planes->emplace_back())) return false;
  }
}

}  // namespace

std::int32_t SQvPicturePlanes::SaveToLiteVariant(CQvLiteVariantW& writer, const SQvPicturePlanes* planes) {
  if (planes == nullptr || planes->planes.size() > kMaxPlanes) return kQvFailure;
  try {
    return Save(writer, *planes) ? kQvOk : kQvFailure;
  } catch (const std::bad_alloc&) {
    return kQvFailure;
  }
}

std::int32_t SQvPicturePlanes::LoadFromLiteVariant(SQvPicturePlanes& planes, CQvLiteVariantR& reader) {
  std::vector<SQvPicturePlane> loaded;
  bool good = false;
  try {
    good = Load(reader, &loaded);
  } catch (const std::bad_alloc&) {
  } catch (const std::length_error&) {
  }
  if (!good) loaded.clear();
  planes.planes = std::move(loaded);
  return good ? kQvOk : kQvFailure;
}

int SQvPicturePlanes::GetHash(unsigned int& hash) const {
  CQvLiteVariantW writer;
  std::uint32_t crc = hash;
  if (SaveToLiteVariant(writer, this) == 0 && ContinueCrc(writer, &crc)) hash = crc;
  return kQvOk;
}
