#include <gtest/gtest.h>

#include "tests/imageformats/zarr/zarr_test_picture.h"

namespace zarrtest {
namespace {

using namespace qvtest;
using imageformats::SImageMetadata;
using imageformats::SLoop;

class ZarrMetadataTest : public testing::Test {
 protected:
  SImageMetadata Described(int version) const {
    SZarrArray array;
    array.version = version;
    array.type = "uint16";
    array.packing = "zlib";
    array.shape = {4, 2, 3, 20, 30};
    array.chunk = {1, 1, 1, 8, 64};
    array.value = [](const SZarrIndex& at) { return at[4]; };
    CZarrFiles files;
    files.AddPicture("", "tczyx", {array},
                     R"("omero":{"channels":[{"label":"DAPI","color":"0000ff"},{"label":"Cy5","color":"ff0000"}]},)"
                     R"("_creator":{"name":"scope"})");
    return OpenIn(m_folder, version == 3 ? "x.zarr" : "y.zarr", files)->Metadata();
  }

  CTempFolder m_folder;
};

TEST_F(ZarrMetadataTest, GeometryIsThatOfTheFullResolution) {
  const SQvImageInfo info = Described(2).info;
  EXPECT_EQ(info.width, 30u);
  EXPECT_EQ(info.height, 20u);
  EXPECT_EQ(info.components, 1u);
  EXPECT_EQ(info.bpcInMemory, 16);
  EXPECT_EQ(info.bpcSignificant, 16);
  EXPECT_EQ(info.pixelType, kQvPixelUnsigned);
  EXPECT_EQ(info.sequenceCount, 12u);
  EXPECT_EQ(info.tileWidth, 30u);
  EXPECT_EQ(info.tileHeight, 8u);
  EXPECT_EQ(info.compression, kQvCompressionLossless);
}

TEST_F(ZarrMetadataTest, TextsCalibrationAndLoopsAreWhatTheFileSays) {
  for (const int version : {2, 3}) {
    const SImageMetadata metadata = Described(version);
    EXPECT_EQ(metadata.text.imageID, CQvStringW(L"cells"));
    EXPECT_EQ(metadata.text.type, CQvStringW(version == 3 ? L"OME-Zarr 0.5" : L"OME-Zarr 0.4"));
    EXPECT_EQ(metadata.text.info1, CQvStringW(L"DAPI; Cy5"));
    EXPECT_EQ(metadata.text.info2, CQvStringW(L"scope"));
    EXPECT_EQ(metadata.text.sampling, CQvStringW(L"0.25 x 0.25 µm per pixel, z step 1.5 µm, time step 1.5 s"));
    EXPECT_DOUBLE_EQ(metadata.calibration, 0.25);
    EXPECT_DOUBLE_EQ(metadata.aspect, 1.0);
    EXPECT_DOUBLE_EQ(metadata.picture.zStep, 1.5);
    ASSERT_EQ(metadata.loops.size(), 3u);
    EXPECT_EQ(metadata.loops[0].type, kQvLoopTime);
    EXPECT_EQ(metadata.loops[0].size, 4u);
    EXPECT_DOUBLE_EQ(metadata.loops[0].step, 1.5);
    EXPECT_EQ(metadata.loops[1].type, kQvLoopZ);
    EXPECT_EQ(metadata.loops[1].size, 3u);
    ASSERT_EQ(metadata.loops[2].channels.size(), 2u);
    EXPECT_EQ(metadata.loops[2].channels[1].name, CQvStringW(L"Cy5"));
    EXPECT_EQ(metadata.loops[2].channels[1].color, 0xFF0000u);
  }
}

TEST_F(ZarrMetadataTest, ScalesOfThePictureAndOfItsLevelMultiply) {
  CZarrFiles files;
  files.AddArray("0", PlaneOfBytes());
  files.AddGroup("", 2,
                 R"({"multiscales":[{"version":"0.4","axes":[{"name":"y","type":"space","unit":"nanometer"},)"
                 R"({"name":"x","type":"space","unit":"nanometer"}],"datasets":[{"path":"0",)"
                 R"("coordinateTransformations":[{"type":"scale","scale":[2,1]},{"type":"translation",)"
                 R"("translation":[5,5]}]}],"coordinateTransformations":[{"type":"scale","scale":[250,250]}]}]})");
  const SImageMetadata metadata = OpenIn(m_folder, "x.zarr", files)->Metadata();
  EXPECT_DOUBLE_EQ(metadata.calibration, 0.25);
  EXPECT_DOUBLE_EQ(metadata.aspect, 2.0);
  EXPECT_EQ(metadata.text.imageID, CQvStringW(L"x.zarr"));
}

TEST_F(ZarrMetadataTest, AScaleWithoutAUnitIsNoCalibration) {
  CZarrFiles files;
  files.AddArray("0", PlaneOfBytes());
  files.AddGroup("", 2,
                 R"({"multiscales":[{"version":"0.4","axes":[{"name":"y"},{"name":"x"}],"datasets":[{"path":"0",)"
                 R"("coordinateTransformations":[{"type":"scale","scale":[2,2]}]}]}]})");
  EXPECT_DOUBLE_EQ(OpenIn(m_folder, "x.zarr", files)->Metadata().calibration, 0.0);
}

}  // namespace
}  // namespace zarrtest
