// Thumbnails that other programs do not make as we do, because they are stretched or composited, against pictures that
// a person has looked at. After a change that is meant to change them: run with QV_WRITE_GOLDEN=1, and look at the
// pictures of golden/ before they are committed.

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>

#include "tests/imageformats/support/encode_png.h"
#include "tests/imageformats/support/samples.h"
#include "tests/imageformats/support/scratch_folder.h"
#include "tools/samples/fluorescence.h"
#include "tools/samples/imagej_hyperstack.h"
#include "tools/samples/other_pictures.h"
#include "tools/samples/ratio_image.h"

namespace {

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
    const auto image = OpenPath(CQvStringUtils::UTF8toW(m_folder.Path() + "/" + name));
    const SThumbnailSize size = FitInto(kBox, image->Info().width, image->Info().height);
    return Render(*image, size.width, size.height, false);
  }

 private:
  CScratchFolder m_folder;
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

STestPicture ReadGolden(const SGolden& golden) {
  std::ifstream file(PathOf(golden), std::ios::binary);
  return ReadAll(*OpenBytes({std::istreambuf_iterator<char>(file), {}}));
}

void WriteGolden(const SGolden& golden, const STestPicture& thumbnail) {
  const SFileBytes bytes = EncodePng(thumbnail);
  std::ofstream file(PathOf(golden), std::ios::binary);
  file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
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
