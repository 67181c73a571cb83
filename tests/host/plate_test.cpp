#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tests/host/support/gallery.h"
#include "tests/host/support/pictures.h"
#include "tests/host/support/program.h"
#include "tests/support/file_bytes.h"
#include "tests/support/sql.h"
#include "tests/support/tiff_writer.h"

namespace {

using namespace qvtest;

using testing::HasSubstr;

class PlateTest : public testing::Test {
 protected:
  PlateTest() : m_images(m_program.Folder().MakeFolder("images")) {}

  std::string Path(const std::string& name) const { return m_program.Folder().Path(name); }
  std::string Image(const std::string& name) const { return m_images + "/" + name; }
  SRunResult Draw(std::vector<std::string> more) {
    more.insert(more.begin(), {"plate", "-o", Path("plate.png")});
    return m_program.RunWithDatabase(more);
  }
  std::int64_t Rows() const { return QueryInt(m_program.Database(), "SELECT count(*) FROM cache"); }
  // Two wells of a grey each in one file.
  void WriteOneFilePlate() const {
    const auto image = [](const std::string& id) {
      return "<Image ID=\"Image:" + id +
             "\"><Pixels ID=\"Pixels:0\" DimensionOrder=\"XYZCT\" Type=\"uint8\" SizeX=\"60\" SizeY=\"40\" "
             "SizeZ=\"1\" SizeC=\"1\" SizeT=\"1\"><TiffData IFD=\"" +
             id + "\" PlaneCount=\"1\"/></Pixels></Image>";
    };
    const auto well = [](const std::string& column, const std::string& id) {
      return "<Well ID=\"Well:" + id + "\" Row=\"2\" Column=\"" + column + "\"><WellSample ID=\"WellSample:" + id +
             "\" Index=\"0\"><ImageRef ID=\"Image:" + id + "\"/></WellSample></Well>";
    };
    std::vector<STiffPage> pages;
    for (const int grey : {90, 180}) {
      pages.push_back(MakePage<std::uint8_t>(60, 40, 1, [&](auto, auto, auto) { return grey; }));
    }
    pages[0].description =
        "<OME xmlns=\"http://www.openmicroscopy.org/Schemas/OME/2016-06\"><Plate ID=\"Plate:0\" "
        "Name=\"screen\" Rows=\"4\" Columns=\"6\">" +
        well("0", "0") + well("5", "1") + "</Plate>" + image("0") + image("1") + "</OME>";
    WriteFile(Image("plate.ome.tif"), WriteTiff(pages));
  }

  CProgram m_program;
  const std::string m_images;
};

TEST_F(PlateTest, OfNamedFilesHasARequestForEachWell) {
  for (const char* name : {"A01_f1.png", "A01_f2.png", "B03_f1.png", "H12_f1.png"})
    WritePng(Image(name), 60, 40, kGreen);
  const SRunResult run = Draw({m_images});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.out, HasSubstr("images: 3 of 96 wells (8 x 12)"));
  EXPECT_EQ(Rows(), 3);
  EXPECT_GT(DecodePng(Path("plate.png")).width, 1500u);
  const nlohmann::json document = Draw({"--json", m_images}).Json();
  EXPECT_EQ(document["rows"], 8);
  ASSERT_EQ(document["wells"].size(), 3u);
  EXPECT_EQ(document["wells"][0]["well"], "A1");
  EXPECT_EQ(document["wells"][0]["fields"], 2);
  EXPECT_EQ(document["wells"][2]["file"], Image("H12_f1.png"));
}

TEST_F(PlateTest, AFailedWellIsNamedAndTheOthersAreDrawn) {
  WritePng(Image("A01.png"), 60, 40, kGreen);
  std::ofstream(Image("A02.png")) << "no picture";
  const SRunResult run = Draw({m_images});
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.err, HasSubstr("A02.png: "));
  EXPECT_THAT(run.out, HasSubstr("1 of 96 wells (8 x 12), 1 failed"));
  EXPECT_TRUE(std::filesystem::exists(Path("plate.png")));
}

// The file's own row is that of its own picture; what lies inside it leaves none.
TEST_F(PlateTest, WellsInsideOneFileAreShownAndNotMixedWithItsOwnThumbnail) {
  WriteOneFilePlate();
  const SRunResult run = Draw({"--cell", "60", Image("plate.ome.tif")});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.out, HasSubstr("screen: 2 of 24 wells (4 x 6)"));
  EXPECT_EQ(Rows(), 1);
  const nlohmann::json document = Draw({"--json", "--cell", "60", Image("plate.ome.tif")}).Json();
  EXPECT_EQ(document["wells"][1]["well"], "C6");
  ASSERT_EQ(m_program.RunWithDatabase({"show", Image("plate.ome.tif"), "-o", Path("own.png")}).status, 0);
  EXPECT_NEAR(DecodePng(Path("own.png")).left[0], 90, 3);
}

TEST_F(PlateTest, AFolderMayBeAPlate) {
  const auto write = [&](const std::string& name, const std::string& content) {
    const std::filesystem::path path = Image("screen.zarr/" + name);
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path) << content;
  };
  const std::string group = R"({"zarr_format":2})";
  write(".zgroup", group);
  write(".zattrs",
        R"({"plate":{"version":"0.4","name":"s","rows":[{"name":"B"}],"columns":[{"name":"3"},{"name":"4"}],)"
        R"("wells":[{"path":"B/3","rowIndex":0,"columnIndex":0},{"path":"B/4","rowIndex":0,"columnIndex":1}]}})");
  write("B/.zgroup", group);
  for (const char* well : {"B/3/", "B/4/"}) {
    const std::string folder = well;
    write(folder + ".zgroup", group);
    write(folder + ".zattrs", R"({"well":{"version":"0.4","images":[{"path":"0"}]}})");
    write(folder + "0/.zgroup", group);
    write(folder + "0/.zattrs", R"({"multiscales":[{"version":"0.4","axes":[{"name":"y","type":"space"},)"
                                R"({"name":"x","type":"space"}],"datasets":[{"path":"0",)"
                                R"("coordinateTransformations":[{"type":"scale","scale":[1,1]}]}]}]})");
    write(folder + "0/0/.zarray", R"({"zarr_format":2,"shape":[40,60],"chunks":[40,60],"dtype":"|u1","order":"C",)"
                                  R"("compressor":null,"fill_value":0,"filters":null})");
    write(folder + "0/0/0.0", std::string(2400, '\x90'));
  }
  const SRunResult run = Draw({Image("screen.zarr")});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.out, HasSubstr("screen.zarr: 2 of 96 wells (8 x 12)"));
  EXPECT_EQ(Rows(), 2);
}

TEST_F(PlateTest, SaysWhichPlatesThereAreAndThatThereIsNone) {
  WritePng(Image("cells.png"), 60, 40, kGreen);
  const SRunResult none = Draw({m_images});
  EXPECT_EQ(none.status, 1);
  EXPECT_THAT(none.err, HasSubstr("no plate there"));
  for (const char* plate : {"one", "two"}) {
    std::filesystem::create_directories(Image(plate));
    WritePng(Image(plate) + "/A01.png", 60, 40, kGreen);
  }
  const SRunResult several = Draw({"-r", m_images});
  EXPECT_EQ(several.status, 2);
  EXPECT_THAT(several.err, HasSubstr("2 plates there: one, two; choose one with --plate NAME"));
  EXPECT_THAT(Draw({"-r", "--plate", "two", m_images}).out, HasSubstr("two: 1 of 96 wells"));
  EXPECT_EQ(Draw({"-r", "--plate", "three", m_images}).status, 2);
  EXPECT_EQ(Draw({"--cell", "5", m_images}).status, 2);
  EXPECT_EQ(Draw({"--position", "2", m_images}).status, 2);
}

TEST_F(PlateTest, TheGalleryShowsItAsAGrid) {
  for (const char* name : {"A01.png", "A02.png", "A03.png", "B01.png", "B02.png", "C12.png"}) {
    WritePng(Image(name), 60, 40, kGreen);
  }
  WritePng(Image("overview.png"), 60, 40, kGreen);
  std::ofstream(Image("B03.png")) << "no picture";
  const auto pageOf = [&](std::vector<std::string> more) {
    more.insert(more.begin(), {"gallery", m_images, "-o", Path("page.html")});
    EXPECT_EQ(m_program.RunWithDatabase(more).status, 1);
    return SGalleryPage(ReadTextFile(Path("page.html")));
  };
  const SGalleryPage page = pageOf({});
  ASSERT_EQ(page.plates.size(), 1u);
  EXPECT_EQ(page.plates[0]["plate"], (nlohmann::json{{"rows", 8}, {"columns", 12}}));
  EXPECT_EQ(page.Card("C12.png")["well"], "C12");
  EXPECT_EQ(page.Card("C12.png")["row"], 2);
  EXPECT_EQ(page.Card("C12.png")["column"], 11);
  EXPECT_TRUE(page.Card("B03.png").contains("reason"));
  EXPECT_FALSE(page.Card("overview.png").contains("row"));
  const SGalleryPage list = pageOf({"--no-plates"});
  EXPECT_FALSE(list.Card("A01.png").contains("row"));
  EXPECT_TRUE(list.plates.empty());
}

}  // namespace
