// Which of a hierarchy's planes and pictures are shown.

#include <gtest/gtest.h>

#include "platform/imageformats/base/format_error.h"
#include "tests/imageformats/zarr/zarr_test_picture.h"

namespace zarrtest {
namespace {

using namespace qvtest;
using imageformats::CDamagedError;

class ZarrPictureTest : public testing::Test {
 protected:
  CTempFolder m_folder;
};

SZarrArray Constant(const SZarrIndex& shape, double value) {
  SZarrArray array;
  array.shape = shape;
  for (const std::uint32_t size : shape) array.chunk.push_back(std::min(size, 16u));
  array.value = [=](const SZarrIndex&) { return value; };
  return array;
}

TEST_F(ZarrPictureTest, TheOverviewIsTheAreasAverage) {
  const std::unique_ptr<imageformats::COpenedImage> image = OpenPlane(m_folder, PlaneOfBytes());
  const STestPicture grey = AreaAverage(ExpectedPlane(), 17, 13);
  const STestPicture shown = Render(*image, 17, 13);
  for (std::uint32_t y = 0; y < 13; ++y) {
    for (std::uint32_t x = 0; x < 17; ++x) EXPECT_NEAR(shown.At(x, y), grey.At(x, y), 1);
  }
}

// 0.1 to 0.3 say less about axes.
TEST_F(ZarrPictureTest, AxesComeInAnyOrder) {
  struct SCase {
    const char* axes;
    SZarrIndex shape;
  };
  // The middle of 5 z planes is 2, the first of 3 time points 0.
  for (const SCase& one : {SCase{"tczyx", {3, 1, 5, 4, 6}}, SCase{"zyx", {5, 4, 6}}, SCase{"xyz", {6, 4, 5}},
                           SCase{"yxc", {4, 6, 1}}, SCase{"zcyxt", {5, 1, 4, 6, 3}}}) {
    const CTempFolder folder;
    const std::string axes(one.axes);
    SZarrArray array = Constant(one.shape, 0.0);
    array.chunk.assign(one.shape.size(), 2);
    array.value = [&](const SZarrIndex& at) {
      const auto step = [&](char axis) { return axes.find(axis) == std::string::npos ? 0u : at[axes.find(axis)]; };
      return 2.0 * step('x') + 16.0 * step('y') + 50.0 * step('z') + 7.0 * step('t');
    };
    const STestPicture read = ReadAll(*OpenPlane(folder, array, axes));
    ASSERT_EQ(read.width, 6u) << axes;
    ASSERT_EQ(read.height, 4u) << axes;
    const std::uint32_t plane = axes.find('z') == std::string::npos ? 0 : 100;
    EXPECT_EQ(read.At(5, 3), 10u + 48 + plane) << axes;
  }
}

TEST_F(ZarrPictureTest, AxesWithoutNamesAreTheLastOnes) {
  SZarrArray array = Constant({2, 1, 3, 4, 6}, 0.0);
  array.value = [](const SZarrIndex& at) { return 100.0 * at[2] + 10.0 * at[3] + at[4]; };
  CZarrFiles files;
  files.AddArray("0", array);
  files.AddGroup("", 2, R"({"multiscales":[{"version":"0.1","datasets":[{"path":"0"}]}]})");
  const STestPicture read = ReadAll(*OpenIn(m_folder, "x.zarr", files));
  EXPECT_EQ(read.At(5, 3), 135);
}

TEST_F(ZarrPictureTest, TheSmallestLevelThatCoversTheBoxIsShown) {
  CZarrFiles files;
  files.AddPicture("", "yx", {Constant({64, 64}, 10), Constant({32, 32}, 20), Constant({16, 16}, 30)});
  const auto image = OpenIn(m_folder, "x.zarr", files);
  EXPECT_EQ(Render(*image, 33, 33).At(1, 1), 10);
  EXPECT_EQ(Render(*image, 32, 32).At(1, 1), 20);
  EXPECT_EQ(Render(*image, 17, 17).At(1, 1), 20);
  EXPECT_EQ(Render(*image, 16, 16).At(1, 1), 30);
  EXPECT_EQ(Render(*image, 4, 4).At(1, 1), 30);
}

TEST_F(ZarrPictureTest, ALevelOfFewerPlanesShowsTheOneThatLiesThere) {
  SZarrArray full = Constant({8, 32, 32}, 0), half = Constant({4, 16, 16}, 0);
  half.value = [](const SZarrIndex& at) { return 10.0 * at[0]; };
  CZarrFiles files;
  files.AddPicture("", "zyx", {full, half});
  EXPECT_EQ(Render(*OpenIn(m_folder, "x.zarr", files), 16, 16).At(1, 1), 20);
}

TEST_F(ZarrPictureTest, OnlyTheChunksOfTheShownPlaneAreRead) {
  SZarrArray array = Constant({5, 32, 32}, 40);
  array.chunk = {1, 16, 16};
  CZarrFiles files;
  files.AddPicture("", "zyx", {array});
  for (auto& [key, bytes] : files.Files()) {
    if (key.starts_with("0/") && !key.starts_with("0/2/") && key != "0/.zarray") bytes.clear();
  }
  EXPECT_EQ(Render(*OpenIn(m_folder, "x.zarr", files), 8, 8).At(1, 1), 40);
}

TEST_F(ZarrPictureTest, ChannelsAreShownInTheirColors) {
  SZarrArray array = Constant({2, 16, 16}, 0);
  array.value = [](const SZarrIndex& at) { return at[0] == 0 ? (at[2] < 8 ? 255.0 : 0.0) : (at[2] < 8 ? 0.0 : 255.0); };
  CZarrFiles files;
  files.AddPicture("", "cyx", {array},
                   R"("omero":{"channels":[{"label":"DAPI","color":"0000FF"},{"label":"Cy5","color":"FF00FF"}]})");
  const STestPicture shown = Render(*OpenIn(m_folder, "x.zarr", files), 16, 16);
  EXPECT_EQ(shown.At(2, 2, 0), 0);
  EXPECT_EQ(shown.At(2, 2, 2), 255);
  EXPECT_EQ(shown.At(13, 2, 0), 255);
  EXPECT_EQ(shown.At(13, 2, 1), 0);
}

TEST_F(ZarrPictureTest, TheAuthorsWindowIsKeptWhileItSuits) {
  SZarrArray array = Constant({16, 16}, 0);
  array.type = "uint16";
  array.value = [](const SZarrIndex& at) { return 1000.0 * at[1]; };  // 0 to 15000
  CZarrFiles files;
  files.AddPicture("", "yx", {array}, R"("omero":{"channels":[{"window":{"start":0,"end":10000}}]})");
  const STestPicture shown = Render(*OpenIn(m_folder, "x.zarr", files), 16, 16);
  EXPECT_EQ(shown.At(5, 0), 128);
  EXPECT_EQ(shown.At(10, 0), 255);
}

TEST_F(ZarrPictureTest, APlateShowsItsFirstWellAndAWellItsFirstField) {
  CZarrFiles files;
  files.AddGroup("", 2, R"({"plate":{"name":"P7","wells":[{"path":"B/2"},{"path":"B/3"}]}})");
  files.AddGroup("B/2", 2, R"({"well":{"images":[{"path":"1"},{"path":"0"}]}})");
  files.AddGroup("B/3", 2, R"({"well":{"images":[{"path":"0"}]}})");
  files.AddPicture("B/2/1", "yx", {Constant({16, 16}, 50)});
  files.AddPicture("B/2/0", "yx", {Constant({16, 16}, 60)});
  files.AddPicture("B/3/0", "yx", {Constant({16, 16}, 70)});
  const auto plate = OpenIn(m_folder, "x.zarr", files);
  EXPECT_EQ(ReadAll(*plate).At(1, 1), 50);
  EXPECT_EQ(plate->Metadata().text.sampleID, CQvStringW(L"P7, B/2"));
  EXPECT_EQ(ReadAll(*OpenPath(m_folder.Wide("x.zarr/B/3"))).At(1, 1), 70);
  EXPECT_EQ(ReadAll(*OpenPath(m_folder.Wide("x.zarr/B/2/0"))).At(1, 1), 60);
}

TEST_F(ZarrPictureTest, AConvertedFileShowsItsFirstSeries) {
  CZarrFiles files;
  files.AddGroup("", 2, R"({"bioformats2raw.layout":3})");
  files.AddPicture("0", "yx", {Constant({16, 16}, 50)});
  files.AddPicture("1", "yx", {Constant({16, 16}, 60)});
  EXPECT_EQ(ReadAll(*OpenIn(m_folder, "x.zarr", files)).At(1, 1), 50);
  files.AddGroup("OME", 2, R"({"series":["1","0"]})");
  EXPECT_EQ(ReadAll(*OpenIn(m_folder, "y.zarr", files)).At(1, 1), 60);
}

TEST_F(ZarrPictureTest, APictureIsNamedByTheFileThatDescribesIt) {
  for (const int version : {2, 3}) {
    const CTempFolder folder;
    SZarrArray array = PlaneOfBytes();
    array.version = version;
    OpenPlane(folder, array);
    const char* name = version == 3 ? "x.zarr/zarr.json" : "x.zarr/.zattrs";
    EXPECT_EQ(ReadAll(*OpenPath(folder.Wide(name))), ExpectedPlane());
  }
}

TEST_F(ZarrPictureTest, AFolderWithoutAPictureIsNone) {
  CZarrFiles files;
  files.AddGroup("", 2, R"({"something":1})");
  EXPECT_THROW(OpenIn(m_folder, "x.zarr", files), CDamagedError);
  EXPECT_THROW(OpenPath(m_folder.Wide()), CDamagedError);
}

}  // namespace
}  // namespace zarrtest
