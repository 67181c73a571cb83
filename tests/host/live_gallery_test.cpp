#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include "tests/host/support/browser.h"
#include "tests/host/support/live_browser.h"
#include "tests/host/support/pictures.h"
#include "tests/host/support/program.h"

namespace {

using testing::HasSubstr;

// What the page of a folder that is being looked at does in a browser.
class LiveGalleryTest : public testing::Test {
 protected:
  LiveGalleryTest() : m_images(m_program.Folder().MakeFolder("images")) {}

  void SetUp() override {
    if (CBrowser::Program().empty()) GTEST_SKIP() << "there is no browser";
    std::filesystem::create_directory(m_images + "/below");
    WritePng(m_images + "/field 10.png", 60, 40, kRed);
    WritePng(m_images + "/field 2.png", 60, 40, kGreen);
    WritePng(m_images + "/below/deep.png", 60, 40, kGreen);
    WriteStack(m_images + "/stack.ome.tif", {.times = 2, .planes = 3, .channels = 2});
    std::ofstream(m_images + "/broken.png") << "no image";
    m_server.emplace(m_program, std::vector<std::string>{"serve", m_images, "--db", m_program.Database()});
    m_browser.emplace(m_server->FirstLine());
  }
  ~LiveGalleryTest() override {
    m_browser.reset();
    if (!m_server) return;
    m_server->Signal(SIGTERM);
    EXPECT_EQ(m_server->Wait().status, 0);
  }
  std::string Run(const std::string& script) { return m_browser->Run(script); }
  void ExpectSoon(const std::string& expression) { EXPECT_EQ(m_browser->WaitFor(expression), "true") << expression; }

  CProgram m_program;
  const std::string m_images;
  std::optional<CProgram::CProcess> m_server;
  std::optional<CLiveBrowser> m_browser;
};

TEST_F(LiveGalleryTest, PicturesAreMadeAsTheyAreLookedAt) {
  ExpectSoon("names() === 'broken.png field 2.png field 10.png stack.ome.tif'");
  ExpectSoon("all('.card img').length === 3 && all('.card img').every(each => each.naturalWidth > 0)");
  EXPECT_EQ(Run("return all('.card img').map(each => each.naturalWidth + 'x' + each.naturalHeight).join(' ');"),
            "270x180 270x180 240x180");
  EXPECT_THAT(Run("return all('.caption span').map(each => each.textContent).join('; ');"),
              HasSubstr("60 × 40 pixels"));
}

TEST_F(LiveGalleryTest, ADamagedOneShowsItsReason) {
  ExpectSoon("all('.none').some(each => each.textContent === 'The file is a text; not supported')");
}

TEST_F(LiveGalleryTest, AFolderOpensAndTheWayBackToo) {
  ExpectSoon("all('#folders a').length === 1");
  EXPECT_EQ(Run("all('#folders a')[0].click(); return 'clicked';"), "clicked");
  ExpectSoon("names() === 'deep.png' && all('.card img').length === 1 && all('.card img')[0].naturalWidth > 0");
  Run("all('#path a')[0].click();");
  ExpectSoon("names().includes('stack.ome.tif')");
}

TEST_F(LiveGalleryTest, TheFilterCountsItsHits) {
  ExpectSoon("status() === '4 pictures'");
  Run("const filter = document.getElementById('filter'); filter.value = 'field';"
      "filter.dispatchEvent(new Event('input'));");
  ExpectSoon("status() === '2 of 4 pictures' && names() === 'field 2.png field 10.png'");
}

TEST_F(LiveGalleryTest, AClickShowsTheLargerPictureWithItsTexts) {
  ExpectSoon("all('.card img').length === 3");
  Run("all('.card').find(each => each.textContent.includes('stack')).querySelector('.shot').click();");
  ExpectSoon("all('dialog[open] img').some(each => each.naturalWidth === 64)");
  ExpectSoon("all('dialog dd').some(each => each.textContent === '0.325 µm/px')");
  EXPECT_EQ(Run("return all('dialog h2')[0].textContent;"), "stack.ome.tif");
}

}  // namespace
