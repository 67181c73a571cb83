// Thumbnails that other programs do not make as we do, because they are stretched or composited, against pictures that
// a person has looked at. After a change that is meant to change them: run with QV_WRITE_GOLDEN=1, and look at the
// pictures of golden/ before they are committed.

#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/imageformats/support/opened.h"
#include "tests/support/encode_png.h"
#include "tests/support/file_bytes.h"
#include "tests/support/temp_folder.h"
#include "tests/support/test_picture.h"
#include "tests/support/thumbnail_size.h"
#include "tools/samples/fluorescence.h"
#include "tools/samples/imagej_hyperstack.h"
#include "tools/samples/other_pictures.h"
#include "tools/samples/ratio_image.h"

namespace {

using namespace qvtest;

constexpr SThumbnailSize kBox{96, 60};
// Compilers may round the samples' light differently; no one sees 38 dB.
constexpr double kLeastPsnr = 38;

// The samples that the golden pictures show.
class CSmallLab {
 public:
  CSmallLab() : m_output(m_folder.Path()) {
    const SContext context{m_output, 1, 30}, larger{m_output, 1, 75};
    MakeFluorescenceExperiments(context);
    MakeImageJHyperstack(larger);
    MakeRatioImage(larger);
    MakeScreenField(context, 1);
    MakeNeuronField(context, 0);
    MakeCameraFrame(context, 0);
    MakeElectronPicture(context, 2);
  }
  STestPicture Thumbnail(const std::string& name) const {
    const auto image = OpenPath(m_folder.Wide(name));
    const SThumbnailSize size = FitInto(kBox, image->Info().width, image->Info().height);
    return Render(*image, size.width, size.height, false);
  }

 private:
  CTempFolder m_folder;
  COutput m_output;
};

const CSmallLab& Lab() {
  static const CSmallLab lab;
  return lab;
}

struct SGolden {
  const char* picture;  // in golden/
  const char* sample;
};

std::string PathOf(const SGolden& golden) { return std::string(QV_GOLDEN_FOLDER "/") + golden.picture + ".png"; }

STestPicture ReadGolden(const SGolden& golden) { return ReadAll(*OpenBytes(ReadFile(PathOf(golden)))); }

void WriteGolden(const SGolden& golden, const STestPicture& thumbnail) {
  WriteFile(PathOf(golden), EncodePng(thumbnail));
}

class GoldenTest : public testing::TestWithParam<SGolden> {};

TEST_P(GoldenTest, TheThumbnailIsAsItWasSeen) {
  const STestPicture thumbnail = Lab().Thumbnail(GetParam().sample);
  if (std::getenv("QV_WRITE_GOLDEN")) {
    WriteGolden(GetParam(), thumbnail);
    GTEST_SKIP() << "written; look at it: " << PathOf(GetParam());
  }
  const STestPicture golden = ReadGolden(GetParam());
  ASSERT_EQ(thumbnail.width, golden.width);
  ASSERT_EQ(thumbnail.height, golden.height);
  EXPECT_GT(Psnr(thumbnail, golden), kLeastPsnr);
}

constexpr SGolden kGoldens[] = {
    {"twelve_bits_in_sixteen", "Camera/uncompressed frame 001.tif"},
    {"sixteen_bits", "Electron microscopy/thin section 003.tif"},
    {"float_with_nan", "Calcium imaging/fura-2 ratio.tif"},
    {"four_channels", "Screen/Plate 1/Well A01/field 02.ome.tif"},
    {"three_channels", "Hippocampal cultures/DIV14 neurons 001.ome.tif"},
    {"middle_plane", "Immunofluorescence/z-stack 60x.ome.tif"},
    {"first_time", "Live imaging/mitosis time series.ome.tif"},
    {"first_position", "Live imaging/six positions.ome.tif"},
    {"lookup_tables", "ImageJ/hyperstack 2c 5z 3t.tif"},
};

INSTANTIATE_TEST_SUITE_P(Thumbnails, GoldenTest, testing::ValuesIn(kGoldens),
                         [](const auto& golden) { return std::string(golden.param.picture); });

}  // namespace
