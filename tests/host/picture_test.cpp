#include "host/output/picture.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <atomic>

#include "system/qvexport.h"
#include "tests/host/support/pictures.h"
#include "tests/support/next_function.h"
#include "tests/support/temp_folder.h"

namespace {

std::atomic<int> compressions{0};

}  // namespace

// Takes the place of zlib's in the PNG library too.
extern "C" QV_EXPORT int deflateInit2_(z_streamp stream, int level, int method, int windowBits, int memLevel,
                                       int strategy, const char* version, int size) {
  static const auto real = qvtest::NextFunction<decltype(&deflateInit2_)>("deflateInit2_");
  ++compressions;
  return real(stream, level, method, windowBits, memLevel, strategy, version, size);
}

namespace qvhost {
namespace {

using namespace qvtest;

// Its size in the file is not known before it is compressed.
TEST(PictureTest, APngIsCompressedOnce) {
  const CTempFolder folder;
  CQvPicture picture;
  ASSERT_TRUE(picture.Reinit(480, 180, 8, 3, false));
  std::uint32_t noise = 1;
  for (std::uint32_t y = 0; y < 180; ++y) {
    for (std::uint32_t x = 0; x < 480 * 3; ++x) picture.Row(y)[x] = static_cast<std::uint8_t>((noise *= 69069) >> 24);
  }
  compressions = 0;
  WritePicture(*picture, PictureTarget(folder.Path("noise.png")));
  EXPECT_EQ(compressions, 1);
  const SDecodedPicture decoded = DecodePng(folder.Path("noise.png"));
  EXPECT_EQ(decoded.width, 480u);
  EXPECT_EQ(decoded.height, 180u);
}

}  // namespace
}  // namespace qvhost
