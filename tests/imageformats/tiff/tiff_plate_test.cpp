// Plates of OME documents: which wells there are, where, and what they show.

#include <gtest/gtest.h>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/base/new_picture.h"
#include "tests/imageformats/tiff/tiff_ome_document.h"
#include "tests/imageformats/tiff/tiff_test_image.h"
#include "tests/support/temp_folder.h"
#include "tests/support/tiff_writer.h"

namespace tifftest {
namespace {

using namespace qvtest;
using imageformats::SPlate;

std::string Image(int number, const std::string& data) {
  const std::string id = std::to_string(number);
  std::string text = "<Image ID=\"Image:" + id + "\" Name=\"field " + id + "\">";
  text += Pixels("XYZCT", 1, 1, 1, data);
  return text + "</Image>";
}

std::string Well(int row, int column, const std::vector<int>& images) {
  std::string text = "<Well ID=\"Well:" + std::to_string(row) + ":" + std::to_string(column) + "\" Row=\"";
  text += std::to_string(row) + "\" Column=\"" + std::to_string(column) + "\">";
  for (const int image : images) {
    text += "<WellSample ID=\"WellSample:" + std::to_string(image) + "\" Index=\"" + std::to_string(image) + "\">";
    text += "<ImageRef ID=\"Image:" + std::to_string(image) + "\"/></WellSample>";
  }
  return text + "</Well>";
}

std::string Plate(const std::string& attributes, const std::string& wells) {
  return "<Plate ID=\"Plate:0\" " + attributes + ">" + wells + "</Plate>";
}

std::string OneDirectory(int ifd) { return "<TiffData IFD=\"" + std::to_string(ifd) + "\" PlaneCount=\"1\"/>"; }

int WellGrey(CTestImage& image, std::uint32_t well) {
  CQvPicture picture = imageformats::NewPicture(4, 3, 8, 3);
  imageformats::CRenderGuard guard;
  image->RenderWell(well, *picture.Get(), guard);
  return picture.Row(1)[3];
}

// B1 has two fields; the pages are 10, 20, 30 and 40 bright.
std::vector<STiffPage> ThreeWellsInOneFile() {
  const std::string plate = Plate("Name=\"Screen 7\" Rows=\"16\" Columns=\"24\"",
                                  Well(0, 0, {0}) + Well(1, 0, {1, 2}) + Well(15, 23, {3}) + Well(2, 2, {}));
  std::string images;
  for (int i = 0; i < 4; ++i) images += Image(i, OneDirectory(i));
  return Pages(4, kOpen + plate + images + "</OME>");
}

TEST(TiffPlate, WellsOfOneFileAreRenderedEach) {
  CTestImage image(WriteTiff(ThreeWellsInOneFile()));
  const std::optional<SPlate> plate = image->Plate();
  ASSERT_TRUE(plate);
  EXPECT_EQ(plate->name, "Screen 7");
  EXPECT_EQ(plate->rows, 16u);
  EXPECT_EQ(plate->columns, 24u);
  ASSERT_EQ(plate->wells.size(), 3u);
  EXPECT_EQ(plate->wells[1].row, 1u);
  EXPECT_EQ(plate->wells[1].fields, 2u);
  EXPECT_EQ(plate->wells[2].column, 23u);
  EXPECT_EQ(plate->wells[2].size, (imageformats::SSize{8, 6}));
  for (const auto& well : plate->wells) EXPECT_EQ(well.location, "");
  EXPECT_FALSE(plate->wells[0].isHidden);
  EXPECT_TRUE(plate->wells[1].isHidden);
  EXPECT_TRUE(plate->wells[2].isHidden);
  EXPECT_EQ(WellGrey(image, 0), 10);
  EXPECT_EQ(WellGrey(image, 1), 20);
  EXPECT_EQ(WellGrey(image, 2), 40);
  EXPECT_EQ(Shown(image).r, 10);
  EXPECT_THROW(WellGrey(image, 3), imageformats::CDamagedError);
}

// A file for each field; the last one is not there.
TEST(TiffPlate, WellsOfASetAreTheFilesOfTheirFirstFields) {
  const CTempFolder folder;
  std::string images;
  for (int i = 0; i < 4; ++i) {
    const std::string number = std::to_string(i);
    images += Image(i, "<TiffData IFD=\"0\" PlaneCount=\"1\"><UUID FileName=\"field" + number +
                           ".ome.tif\">urn:uuid:" + number + "</UUID></TiffData>");
  }
  const std::string document =
      kOpen + Plate("", Well(0, 0, {0, 1}) + Well(0, 1, {2}) + Well(3, 5, {3})) + images + "</OME>";
  for (int i = 0; i < 3; ++i) {
    STiffPage page = MakePage<std::uint8_t>(8, 6, 1, [&](auto, auto, auto) { return 10 * (i + 1); });
    page.description = document;
    folder.MakeFile("field" + std::to_string(i) + ".ome.tif", WriteTiff(page));
  }
  CTestImage image(folder.Wide("field1.ome.tif"));
  const std::optional<SPlate> plate = image->Plate();
  ASSERT_TRUE(plate);
  EXPECT_EQ(plate->name, "Plate:0");
  EXPECT_EQ(plate->rows, 0u);
  ASSERT_EQ(plate->wells.size(), 3u);
  EXPECT_EQ(plate->wells[0].location, "field0.ome.tif");
  EXPECT_EQ(plate->wells[1].location, "field2.ome.tif");
  EXPECT_EQ(plate->wells[2].location, "field3.ome.tif");
  for (const auto& well : plate->wells) EXPECT_FALSE(well.isHidden);
  EXPECT_EQ(WellGrey(image, 1), 30);
  EXPECT_THROW(WellGrey(image, 2), imageformats::CDamagedError);
}

TEST(TiffPlate, OfSeveralTheOneThatTheShownImageIsOn) {
  const std::string plates = Plate("Name=\"other\"", Well(0, 0, {7})) + Plate("Name=\"own\"", Well(0, 1, {0}));
  CTestImage image(WriteTiff(Pages(1, kOpen + plates + Image(0, OneDirectory(0)) + "</OME>")));
  ASSERT_TRUE(image->Plate());
  EXPECT_EQ(image->Plate()->name, "own");
}

TEST(TiffPlate, NoneWithoutWellsThatHavePictures) {
  for (const std::string& plate : {std::string(), Plate("", ""), Plate("", Well(0, 0, {})), Plate("", Well(0, 0, {9})),
                                   Plate("", Well(300, 0, {0})), Plate("", Well(0, 4000000, {0}))}) {
    CTestImage image(WriteTiff(Pages(1, kOpen + plate + Image(0, OneDirectory(0)) + "</OME>")));
    EXPECT_FALSE(image->Plate()) << plate;
    EXPECT_THROW(WellGrey(image, 0), imageformats::CDamagedError);
  }
  CTestImage plain(WriteTiff(Pages(2, "")));
  EXPECT_FALSE(plain->Plate());
}

}  // namespace
}  // namespace tifftest
