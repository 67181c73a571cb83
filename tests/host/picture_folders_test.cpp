// Pictures that are folders, through the program, with the decoder in a process of its own.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "tests/host/support/program.h"
#include "tests/support/decode_rgb.h"
#include "tests/support/sql.h"
#include "tests/support/zarr_writer.h"

namespace {

using namespace qvtest;

using testing::HasSubstr;

class PictureFoldersTest : public testing::Test {
 protected:
  static SZarrArray Plane(double value, int version = 2) {
    SZarrArray array;
    array.version = version;
    array.shape = {40, 60};
    array.chunk = {16, 16};
    array.packing = "blosc";
    array.value = [=](const SZarrIndex& at) { return at[1] < 30 ? value : 200.0; };
    return array;
  }
  static CZarrFiles Picture(double value, int version = 2) {
    CZarrFiles files;
    files.AddPicture("", "yx", {Plane(value, version)});
    return files;
  }
  std::string Path(const std::string& name) const { return m_program.Folder().Path("images/" + name); }
  // What was written long ago.
  void Age(const std::string& folder) const {
    const timespec times[2] = {{1'600'000'000, 0}, {1'600'000'000, 0}};
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
      utimensat(AT_FDCWD, entry.path().c_str(), times, 0);
    }
  }
  nlohmann::json Make(const std::string& path) { return m_program.RunWithDatabase({"make", path, "--json"}).Json(); }

  CProgram m_program;
};

TEST_F(PictureFoldersTest, MakesOneThumbnailAndKeepsIt) {
  Picture(50).WriteTo(Path("x.zarr"));
  Picture(50, 3).WriteTo(Path("y.zarr"));
  WriteFile(Path("z.ozx"), Picture(50).Zip(CZarrFiles::EZip::kStored));
  const nlohmann::json first = Make(Path(""));
  EXPECT_EQ(first["made"], 3) << first;
  EXPECT_EQ(first["failed"], 0) << first;
  EXPECT_EQ(Make(Path(""))["alreadyCached"], 3);
  EXPECT_EQ(QueryInt(m_program.Database(), "SELECT count(*) FROM cache"), 3);
}

TEST_F(PictureFoldersTest, AChangedChunkOrDescriptionMakesTheThumbnailAnew) {
  Picture(50).WriteTo(Path("x.zarr"));
  Age(Path("x.zarr"));
  EXPECT_EQ(Make(Path("x.zarr"))["made"], 1);
  EXPECT_EQ(Make(Path("x.zarr"))["made"], 0);
  WriteFile(Path("x.zarr/0/1/1"), Picture(90).Files().at("0/1/1"));
  EXPECT_EQ(Make(Path("x.zarr"))["made"], 1);
  Age(Path("x.zarr"));
  EXPECT_EQ(Make(Path("x.zarr"))["made"], 1);
  WriteFile(Path("x.zarr/.zattrs"), Picture(90).Files().at(".zattrs"));
  EXPECT_EQ(Make(Path("x.zarr"))["made"], 1);
  EXPECT_EQ(Make(Path("x.zarr"))["made"], 0);
}

TEST_F(PictureFoldersTest, ShowsAndTellsOfThePictureByEitherName) {
  Picture(50).WriteTo(Path("x.zarr"));
  for (const char* name : {"x.zarr", "x.zarr/", "x.zarr/.zattrs"}) {
    const SRunResult show =
        m_program.RunWithDatabase({"show", Path(name), "-o", m_program.Folder().Path("x.png"), "--json"});
    EXPECT_EQ(show.status, 0) << show.err;
    const nlohmann::json info = m_program.RunWithDatabase({"info", Path(name), "--json"}).Json();
    EXPECT_EQ(info[0]["width"], 60) << info;
    EXPECT_EQ(info[0]["texts"]["type"], "OME-Zarr 0.4");
  }
  EXPECT_EQ(QueryInt(m_program.Database(), "SELECT count(*) FROM cache"), 1);
}

TEST_F(PictureFoldersTest, ADecoderAndThisProcessShowTheSame) {
  Picture(50).WriteTo(Path("x.zarr"));
  const std::string apart = m_program.Folder().Path("apart.png"), here = m_program.Folder().Path("here.png");
  EXPECT_EQ(m_program.Run({"show", "--db", m_program.Folder().Path("a.db"), Path("x.zarr"), "-o", apart}).status, 0);
  m_program.SetEnvironment("QV_DECODER=inprocess");
  EXPECT_EQ(m_program.Run({"show", "--db", m_program.Folder().Path("b.db"), Path("x.zarr"), "-o", here}).status, 0);
  EXPECT_EQ(ReadFile(apart), ReadFile(here));
}

TEST_F(PictureFoldersTest, SaysWhyOneCannotBeShown) {
  CZarrFiles files = Picture(50);
  files.Files()["0/1/1"].resize(20);
  files.WriteTo(Path("x.zarr"));
  const SRunResult run = m_program.RunWithDatabase({"make", Path("x.zarr")});
  EXPECT_NE(run.status, 0);
  EXPECT_THAT(run.err, HasSubstr("A chunk of the picture is damaged"));
}

TEST_F(PictureFoldersTest, PruneForgetsOneThatIsGoneOnly) {
  Picture(50).WriteTo(Path("x.zarr"));
  Picture(50).WriteTo(Path("y.zarr"));
  Make(Path(""));
  std::filesystem::remove_all(Path("x.zarr"));
  EXPECT_EQ(m_program.RunWithDatabase({"prune", "--json"}).Json()["thumbnails"], 1);
}

TEST_F(PictureFoldersTest, AGalleryShowsThePicturesOfAPlate) {
  CZarrFiles files;
  files.AddGroup("", 2, R"({"plate":{"name":"P","wells":[{"path":"A/1"},{"path":"B/2"}]}})");
  for (const char* well : {"A/1", "B/2"}) {
    files.AddGroup(well, 2, R"({"well":{"images":[{"path":"0"}]}})");
    files.AddPicture(std::string(well).append("/0"), "yx", {Plane(50)});
  }
  files.WriteTo(Path("plate.zarr"));
  const std::string page = m_program.Folder().Path("page.html");
  const SRunResult run = m_program.RunWithDatabase({"gallery", Path("plate.zarr"), "-o", page});
  EXPECT_EQ(run.status, 0) << run.err;
  const std::string text = ReadTextFile(page);
  EXPECT_THAT(text, HasSubstr("plate.zarr/A/1"));
  EXPECT_THAT(text, HasSubstr("plate.zarr/B/2"));
}

}  // namespace
