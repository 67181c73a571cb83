#pragma once

#include <cstdint>
#include <vector>

#include "system/qvexport.h"
#include "system/qvlitevariant.h"
#include "system/qvstring.h"

enum EQvModality : std::uint32_t {
  kQvModalityUnknown = 0,
  kQvModalityBrightfield = 1,
  kQvModalityPhaseContrast = 2,
  kQvModalityDIC = 3,
  kQvModalityWidefieldFluorescence = 4,
  kQvModalityConfocal = 5,
  kQvModalityMultiphoton = 6,
  kQvModalitySpinningDisk = 7,
  kQvModalityLightSheet = 8,
  kQvModalityElectron = 9,
  kQvModalityOther = 10,
};

// One plane (channel) of a picture.
struct SQvPicturePlane {
  CQvStringW name;
  std::uint32_t color = 0;            // 0x00RRGGBB
  double excitationWavelength = 0.0;  // nanometres, 0 unknown
  double emissionWavelength = 0.0;    // nanometres, 0 unknown
  std::uint32_t modality = kQvModalityUnknown;
  std::uint32_t components = 1;  // 3 for an RGB plane
};

// The planes of a picture. A value type.
struct QV_METADATA_API SQvPicturePlanes {
  std::vector<SQvPicturePlane> planes;

  // Writes into the writer's current level; deterministic. 0, or -9 for more than 4096 planes.
  static std::int32_t SaveToLiteVariant(CQvLiteVariantW& writer, const SQvPicturePlanes* planes);
  // Fills from the reader's current level. 0, or -9 with `planes` emptied.
  static std::int32_t LoadFromLiteVariant(SQvPicturePlanes& planes, CQvLiteVariantR& reader);

  // Continues the hash in `hash` over the planes (CRC-32 of ISO 3309 over their serialised bytes); more planes than can
  // be serialised leave it unchanged. Returns 0.
  int GetHash(unsigned int& hash) const;
};
