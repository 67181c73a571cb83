#include "tests/support/icc_profile.h"

#include <lcms2.h>

namespace qvtest {
namespace {

SFileBytes Saved(cmsHPROFILE profile) {
  cmsUInt32Number size = 0;
  cmsSaveProfileToMem(profile, nullptr, &size);
  SFileBytes bytes(size);
  cmsSaveProfileToMem(profile, bytes.data(), &size);
  cmsCloseProfile(profile);
  return bytes;
}

}  // namespace

SFileBytes SwappedPrimariesProfile() {
  const cmsCIExyY white = {0.3127, 0.3290, 1.0};
  const cmsCIExyYTRIPLE primaries = {{0.30, 0.60, 1.0}, {0.64, 0.33, 1.0}, {0.15, 0.06, 1.0}};
  cmsToneCurve* curve = cmsBuildGamma(nullptr, 2.2);
  cmsToneCurve* curves[] = {curve, curve, curve};
  cmsHPROFILE profile = cmsCreateRGBProfile(&white, &primaries, curves);
  cmsFreeToneCurve(curve);
  return Saved(profile);
}

SFileBytes SrgbProfile() { return Saved(cmsCreate_sRGBProfile()); }

}  // namespace qvtest
