#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "host/output/drawing.h"
#include "host/plates/plate.h"
#include "host/plates/plate_finder.h"
#include "host/plates/plate_picture.h"
#include "host/plates/well_names.h"
#include "host/session/session.h"
#include "tests/support/temp_folder.h"

namespace {

using namespace qvhost;

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> NamesIn(const std::string& name) {
  std::vector<std::string> wells;
  for (const SNamedWell& well : FindWellNames(name)) {
    wells.push_back(WellName(well.row, well.column) + (well.isExplicit ? "!" : ""));
  }
  return wells;
}

TEST(WellNamesTest, AreFoundInNamesOfFiles) {
  EXPECT_THAT(NamesIn("A01.tif"), ElementsAre("A1"));
  EXPECT_THAT(NamesIn("a1.tif"), ElementsAre("A1"));
  EXPECT_THAT(NamesIn("scan_B12_field1.tif"), ElementsAre("B12"));
  EXPECT_THAT(NamesIn("plate7-H12-GFP.png"), ElementsAre("H12"));
  EXPECT_THAT(NamesIn("AF48.tif"), ElementsAre("AF48"));
  EXPECT_THAT(NamesIn("B - 03(fld 1).tif"), ElementsAre("B3"));
  EXPECT_THAT(NamesIn("run_D007f02d1.TIF"), ElementsAre("D7"));
  EXPECT_THAT(NamesIn("r02c12f03p01.tiff"), ElementsAre("B12!"));
  EXPECT_THAT(NamesIn("Well A04"), ElementsAre("A4!"));
  EXPECT_THAT(NamesIn("WellP24.tif"), ElementsAre("P24!"));
  EXPECT_THAT(NamesIn("x_B03_T01_Z02.tif"), ElementsAre("B3", "T1", "Z2"));
}

TEST(WellNamesTest, AreNotFoundInOtherWords) {
  for (const char* name :
       {"cells.tif", "IMG_2034.jpg", "A49.tif", "A0.tif", "AG1.tif", "HeLa12.tif", "field 01.ome.tif", "DAPI2.tif",
        "B12b.tif", "A1234.tif", "12.tif", "", "r00c01.tif", "A", "r", "well"}) {
    EXPECT_THAT(NamesIn(name), IsEmpty()) << name;
  }
}

SWell MakeWell(std::uint32_t row, std::uint32_t column, const std::string& file = "") {
  SWell well;
  well.row = row;
  well.column = column;
  well.file = file;
  return well;
}

TEST(PlateTest, RowsAreNamedByLetters) {
  EXPECT_EQ(WellName(0, 0), "A1");
  EXPECT_EQ(WellName(25, 11), "Z12");
  EXPECT_EQ(WellName(26, 0), "AA1");
  EXPECT_EQ(WellName(31, 47), "AF48");
}

TEST(PlateTest, HasTheSmallestUsualSizeThatHoldsItsWells) {
  const auto sizeWith = [](std::uint32_t row, std::uint32_t column) {
    SPlateLayout plate;
    plate.wells = {MakeWell(row, column)};
    Settle(&plate);
    return std::pair(plate.rows, plate.columns);
  };
  EXPECT_EQ(sizeWith(0, 0), std::pair(8u, 12u));
  EXPECT_EQ(sizeWith(7, 12), std::pair(16u, 24u));
  EXPECT_EQ(sizeWith(16, 0), std::pair(32u, 48u));
  EXPECT_EQ(sizeWith(40, 2), std::pair(41u, 3u));
}

TEST(PlateTest, FieldsOfAWellAreJoinedInOrder) {
  SPlateLayout plate;
  plate.wells = {MakeWell(1, 0, "b"), MakeWell(0, 1, "a1"), MakeWell(0, 1, "a2")};
  Settle(&plate);
  ASSERT_EQ(plate.wells.size(), 2u);
  EXPECT_EQ(plate.wells[0].file, "a1");
  EXPECT_EQ(plate.wells[0].fields, 2u);
  EXPECT_EQ(plate.wells[1].file, "b");
}

// Files without any content: their names are all that there is.
class PlateFinderTest : public testing::Test {
 protected:
  PlateFinderTest() { LoadComponents(); }

  SFoundPlates Find(const std::vector<std::string>& names, EPlateEvidence evidence) {
    std::vector<std::string> files;
    for (const std::string& name : names) {
      const std::filesystem::path path = m_folder.Path(name);
      std::filesystem::create_directories(path.parent_path());
      std::ofstream(path) << "x";
      files.push_back(path.string());
    }
    return FindPlates(files, evidence);
  }

  qvtest::CTempFolder m_folder;
};

TEST_F(PlateFinderTest, TheNumberThatVariesMostIsTheWell) {
  const SFoundPlates found =
      Find({"p/T01_A01_Z1.tif", "p/T01_A02_Z1.tif", "p/T02_A01_Z1.tif", "p/T01_B07_Z1.tif", "p/map.png"},
           EPlateEvidence::Asked);
  ASSERT_EQ(found.plates.size(), 1u);
  ASSERT_EQ(found.plates[0].wells.size(), 3u);
  EXPECT_EQ(found.plates[0].name, "p");
  EXPECT_EQ(found.plates[0].wells[0].fields, 2u);
  EXPECT_EQ(WellName(found.plates[0].wells[2].row, found.plates[0].wells[2].column), "B7");
  EXPECT_THAT(found.others, ElementsAre(m_folder.Path("p/map.png")));
}

TEST_F(PlateFinderTest, FoldersMayBeNamedAfterWells) {
  const SFoundPlates found =
      Find({"Plate 1/Well A04/field 01.tif", "Plate 1/Well A04/field 02.tif", "Plate 1/Well C11/field 01.tif",
            "Plate 2/Well A01/field 01.tif", "Plate 2/Well A02/field 01.tif"},
           EPlateEvidence::Obvious);
  ASSERT_EQ(found.plates.size(), 2u);
  EXPECT_EQ(found.plates[0].name, "Plate 1");
  ASSERT_EQ(found.plates[0].wells.size(), 2u);
  EXPECT_EQ(found.plates[0].wells[0].file, m_folder.Path("Plate 1/Well A04/field 01.tif"));
  EXPECT_TRUE(found.others.empty());
}

TEST_F(PlateFinderTest, AFewNamesAreAPlateOnlyForWhomeverAsks) {
  const std::vector<std::string> names = {"q/cells_C1.tif", "q/cells_C2.tif", "q/cells_C3.tif"};
  EXPECT_EQ(Find(names, EPlateEvidence::Asked).plates.size(), 1u);
  const SFoundPlates found = Find(names, EPlateEvidence::Obvious);
  EXPECT_TRUE(found.plates.empty());
  EXPECT_EQ(found.others.size(), 3u);
}

TEST_F(PlateFinderTest, RowsAndColumnsOfNamesAreAPlate) {
  std::vector<std::string> names;
  for (const char* row : {"A", "B"}) {
    for (const char* column : {"01", "02", "03"})
      names.push_back(std::string("s/").append(row).append(column) + ".tif");
  }
  EXPECT_EQ(Find(names, EPlateEvidence::Obvious).plates.size(), 1u);
}

SRgbColor ColorAt(const CQvPicture& picture, std::uint32_t x, std::uint32_t y) {
  const std::uint8_t* pixel = picture.Row(y) + std::size_t{x} * 3;
  return {pixel[0], pixel[1], pixel[2]};
}

TEST(PlatePictureTest, ShowsWellsMissingOnesAndFailedOnes) {
  SPlateLayout plate;
  plate.wells = {MakeWell(0, 0), MakeWell(7, 11), MakeWell(3, 4)};
  Settle(&plate);
  CPlatePicture drawing(plate, 40);
  CQvPicture green;
  ASSERT_TRUE(green.Reinit(80, 80, 8, 3, true));
  for (std::uint32_t y = 0; y < 80; ++y) {
    for (std::uint32_t x = 0; x < 80; ++x) green.Row(y)[x * 3 + 1] = 200;
  }
  drawing.SetWell(0, *green);
  drawing.SetFailed(1);  // of A1, H12 and D5, the second is D5
  drawing.SetWell(2, *green);
  const CQvPicture page = drawing.Draw();
  const std::uint32_t left = page->width - 12 * 42, top = page->height - 8 * 42;
  const auto center = [&](std::uint32_t row, std::uint32_t column) {
    return ColorAt(page, left + column * 42 + 8, top + row * 42 + 8);
  };
  const SRgbColor greenInk = {0, 200, 0};
  EXPECT_EQ(center(0, 0), greenInk);
  EXPECT_EQ(center(7, 11), greenInk);
  EXPECT_GT(center(3, 4)[0], center(3, 4)[1]);
  EXPECT_EQ(center(5, 5)[0], center(5, 5)[1]);
  EXPECT_NE(center(5, 5), kWhiteInk);
}

}  // namespace
