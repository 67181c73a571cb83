#pragma once

#include <memory>
#include <string>

#include "tests/imageformats/support/opened.h"
#include "tests/support/temp_folder.h"
#include "tests/support/zarr_writer.h"

// What the tests of OME-Zarr have in common.
namespace zarrtest {

// A plane of 50 x 40 in chunks that do not fit it, smooth and without a pixel like its neighbours.
inline qvtest::SZarrArray PlaneOfBytes() {
  qvtest::SZarrArray array;
  array.shape = {40, 50};
  array.chunk = {16, 16};
  array.value = [](const qvtest::SZarrIndex& at) { return 3.0 * at[0] + 2.0 * at[1]; };
  return array;
}

// The same plane as the reader should see it.
inline qvtest::STestPicture ExpectedPlane() {
  qvtest::STestPicture picture = qvtest::BlackPicture(50, 40, 1);
  for (std::uint32_t y = 0; y < 40; ++y) {
    for (std::uint32_t x = 0; x < 50; ++x) picture.At(x, y) = static_cast<std::uint16_t>(3 * y + 2 * x);
  }
  return picture;
}

// Writes the files below a folder of that name and opens it.
inline std::unique_ptr<imageformats::COpenedImage> OpenIn(const qvtest::CTempFolder& folder, const std::string& name,
                                                          const qvtest::CZarrFiles& files) {
  files.WriteTo(folder.Path(name));
  return OpenPath(folder.Wide(name));
}

inline std::unique_ptr<imageformats::COpenedImage> OpenPlane(const qvtest::CTempFolder& folder,
                                                             const qvtest::SZarrArray& array,
                                                             const std::string& axes = "yx") {
  qvtest::CZarrFiles files;
  files.AddPicture("", axes, {array});
  return OpenIn(folder, "x.zarr", files);
}

}  // namespace zarrtest
