#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tests/host/support/gallery.h"
#include "tests/host/support/pictures.h"
#include "tests/host/support/program.h"
#include "tests/support/file_bytes.h"
#include "tests/support/sql.h"

namespace {

using namespace qvtest;

using testing::HasSubstr;
using testing::Not;

class GalleryTest : public testing::Test {
 protected:
  GalleryTest() : m_images(m_program.Folder().MakeFolder("images")), m_page(m_program.Folder().Path("page.html")) {
    for (const char* name : {"a.png", "B.PNG", "c.png"}) WritePng(Image(name), 60, 40, kRed);
  }

  std::string Image(const std::string& name) const { return m_images + "/" + name; }
  SRunResult Gallery(std::vector<std::string> more) {
    more.insert(more.begin(), "gallery");
    return m_program.RunWithDatabase(std::move(more));
  }
  SGalleryPage Page() const { return SGalleryPage(ReadTextFile(m_page)); }

  CProgram m_program;
  const std::string m_images, m_page;
};

TEST_F(GalleryTest, HoldsThePicturesItself) {
  std::ofstream(Image("<b>&.png")) << "no image";
  const SRunResult run = Gallery({m_images, "-o", m_page, "--title", "My <lab>"});
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.out, HasSubstr("4 pictures"));
  const std::string html = ReadTextFile(m_page);
  EXPECT_THAT(html, HasSubstr("<title>My &lt;lab&gt;</title>"));
  EXPECT_THAT(html, HasSubstr("<h1>My &lt;lab&gt;</h1>"));
  EXPECT_THAT(html, Not(HasSubstr("<b>&")));
  EXPECT_THAT(html, HasSubstr("</html>"));
  const SGalleryPage page(html);
  EXPECT_EQ(page.pictures, 3u);
  EXPECT_EQ(page.Card("B.PNG")["brief"][0], "60 × 40 pixels");
  EXPECT_FALSE(page.Card("B.PNG").contains("reason"));
  EXPECT_FALSE(page.Card("<b>&.png")["reason"].get<std::string>().empty());
}

TEST_F(GalleryTest, MakesWhatIsMissing) {
  EXPECT_EQ(Gallery({m_images, "-o", m_page}).status, 0);
  EXPECT_EQ(QueryInt(m_program.Database(), "SELECT count(*) FROM cache"), 3);
}

TEST_F(GalleryTest, ShowsTheWholeDatabaseWhenNothingIsNamed) {
  ASSERT_EQ(m_program.RunWithDatabase({"make", m_images}).status, 0);
  EXPECT_THAT(Gallery({"-o", m_page}).out, HasSubstr("3 pictures"));
  EXPECT_NE(Page().Card("B.PNG"), nullptr);
}

TEST_F(GalleryTest, InAFolderHasItsPicturesInFiles) {
  const std::string folder = m_program.Folder().Path("web");
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(Gallery({m_images, "--folder", "-o", folder}).status, 0);
    const SGalleryPage page(ReadTextFile(folder + "/index.html"));
    EXPECT_EQ(page.pictures, 0u);
    EXPECT_EQ(page.Card("B.PNG")["file"], "pictures/000/000000.jpg");
    EXPECT_EQ(DecodeJpeg(folder + "/pictures/000/000002.jpg").height, 180u);
  }
}

TEST_F(GalleryTest, InAFolderHasLargerPicturesWhenAsked) {
  WritePng(Image("large.png"), 2000, 1000, kGreen);
  std::ofstream(Image("no.png")) << "no image";
  const std::string folder = m_program.Folder().Path("web");
  for (const std::vector<std::string>& what : {std::vector<std::string>{m_images}, std::vector<std::string>{}}) {
    std::vector<std::string> words = {"--folder", "--larger", "1600", "-o", folder};
    words.insert(words.end(), what.begin(), what.end());
    EXPECT_EQ(Gallery(words).status, what.empty() ? 0 : 1);
    const SGalleryPage page(ReadTextFile(folder + "/index.html"));
    const nlohmann::json card = page.Card("large.png");
    ASSERT_EQ(card["larger"], "pictures/000/000003-large.jpg");
    const SDecodedPicture larger = DecodeJpeg(folder + "/" + card["larger"].get<std::string>());
    EXPECT_EQ(larger.width, 1600u);
    EXPECT_EQ(larger.height, 800u);
    EXPECT_LT(DecodeJpeg(folder + "/" + card["file"].get<std::string>()).width, 500u);
    // It has no more to show than the thumbnail.
    EXPECT_FALSE(page.Card("a.png").contains("larger"));
    EXPECT_TRUE(page.Card("a.png").contains("file"));
  }
}

TEST_F(GalleryTest, APictureThatCannotBeMadeLargerKeepsItsThumbnail) {
  WritePng(Image("gone.png"), 2000, 1000, kGreen);
  WritePng(Image("large.png"), 2000, 1000, kGreen);
  ASSERT_EQ(m_program.RunWithDatabase({"make", m_images}).status, 0);
  std::filesystem::remove(Image("gone.png"));
  const std::string folder = m_program.Folder().Path("web");
  EXPECT_EQ(Gallery({"--folder", "--larger", "1024", "-o", folder}).status, 0);
  const SGalleryPage page(ReadTextFile(folder + "/index.html"));
  EXPECT_FALSE(page.Card("gone.png").contains("larger"));
  EXPECT_TRUE(page.Card("gone.png").contains("file"));
  EXPECT_TRUE(page.Card("large.png").contains("larger"));
}

TEST_F(GalleryTest, LargerPicturesAreForAFolder) {
  EXPECT_EQ(Gallery({m_images, "--larger", "1600", "-o", m_page}).status, 2);
  EXPECT_EQ(Gallery({m_images, "--folder", "--larger", "10", "-o", m_program.Folder().Path("web")}).status, 2);
}

TEST_F(GalleryTest, InAFolderLeavesWhatIsNotItsOwn) {
  const std::string folder = m_program.Folder().MakeFolder("web");
  m_program.Folder().MakeFile("web/pictures/000/000000.jpg", "mine");
  const SRunResult run = Gallery({m_images, "--folder", "-o", folder});
  EXPECT_EQ(run.status, 2);
  EXPECT_THAT(run.err, HasSubstr("not those of a gallery"));
  EXPECT_EQ(ReadTextFile(folder + "/pictures/000/000000.jpg"), "mine");
  EXPECT_FALSE(std::filesystem::exists(folder + "/index.html"));
  const SRunResult file = Gallery({m_images, "--folder", "-o", Image("a.png")});
  EXPECT_EQ(file.status, 2);
  EXPECT_THAT(file.err, HasSubstr("is no folder"));
}

}  // namespace
