#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tests/host/support/browser.h"
#include "tests/host/support/pictures.h"
#include "tests/host/support/program.h"
#include "tests/support/file_bytes.h"

namespace {

using namespace qvtest;

using testing::HasSubstr;

// What the page of a gallery does in a browser.
class GalleryBrowserTest : public testing::Test {
 protected:
  GalleryBrowserTest() : m_images(m_program.Folder().MakeFolder("images")) {}

  void SetUp() override {
    if (CBrowser::Program().empty()) GTEST_SKIP() << "there is no browser";
#if defined(QV_ADDRESS_SANITIZER) || defined(QV_THREAD_SANITIZER)
    GTEST_SKIP() << "the page is what it is without instruments";
#endif
    for (const char* folder : {"day 1", "day 2"}) std::filesystem::create_directory(m_images + "/" + folder);
    for (const char* name : {"day 1/field 10.png", "day 1/field 2.png", "day 2/Rät.png"}) {
      WritePng(m_images + "/" + name, 60, 40, kRed);
    }
    WriteStack(m_images + "/day 2/stack.ome.tif", {.times = 2, .planes = 3, .channels = 2});
    std::ofstream(m_images + "/day 1/broken.png") << "no image";
    const SRunResult run =
        m_program.RunWithDatabase({"gallery", "-r", "--no-plates", m_images, "-o", m_program.Folder().Path("p.html")});
    ASSERT_EQ(run.status, 1) << run.err;
  }

  std::string Run(const std::string& script) { return m_browser.Run(m_program.Folder().Path("p.html"), script); }

  CProgram m_program;
  CBrowser m_browser;
  const std::string m_images;
};

TEST_F(GalleryBrowserTest, TheOrderIsNaturalAndWhatCouldNotBeShownStandsAtTheEnd) {
  EXPECT_EQ(Run("return names();"), "field 2.png field 10.png Rät.png stack.ome.tif broken.png");
  EXPECT_EQ(Run("return all('h2').map(each => each.textContent).join('; ');"),
            "day 1; day 2; Could not be shown: 1 picture");
  EXPECT_EQ(Run("return status() + '; ' + document.getElementById('problems').textContent;"),
            "5 pictures; 1 could not be shown");
  EXPECT_EQ(Run("document.getElementById('problems').click(); return document.activeElement.textContent;"),
            Run("return all('.none')[0].textContent;"));
}

TEST_F(GalleryBrowserTest, AnOpenedPictureOfAFolderIsTheLargerOne) {
  WritePng(m_images + "/day 1/field 2.png", 1200, 800, kRed);
  const std::string web = m_program.Folder().Path("web");
  m_program.RunWithDatabase({"gallery", "-r", "--no-plates", m_images, "--folder", "--larger", "1024", "-o", web});
  constexpr const char* kShown =
      "const image = document.querySelector('dialog img');"
      "for (let i = 0; i < 200 && (!image.complete || image.classList.contains('busy')); ++i)"
      "  await new Promise(resolve => setTimeout(resolve, 20));"
      "return `${image.naturalWidth} ${document.querySelectorAll('dialog fieldset').length}`;";
  // The browser is shown a copy in another place.
  std::string page = ReadTextFile(web + "/index.html");
  page.insert(page.find("<title>"), "<base href=\"file://" + web + "/\">");
  const std::string copy = m_program.Folder().MakeFile("copy.html", page);
  const auto opened = [&](int number) {
    return m_browser.Run(copy, "all('.shot')[" + std::to_string(number) + "].click();" + kShown);
  };
  EXPECT_EQ(opened(0), "1024 0");
  // Of the stack there is no larger one, nor another plane without a server.
  EXPECT_EQ(opened(3), "240 0");
}

TEST_F(GalleryBrowserTest, TheFilterKnowsSeveralWordsFoldersAndAccentsAndCountsItsHits) {
  EXPECT_EQ(Run("await type('field day'); return names() + '; ' + status();"),
            "field 2.png field 10.png; 2 of 5 pictures");
  EXPECT_EQ(Run("await type('RAT'); return names();"), "Rät.png");
  EXPECT_EQ(Run("await type('\"day 2\" stack'); return names();"), "stack.ome.tif");
  EXPECT_EQ(Run("await type('nowhere'); return status();"), "None of 5 pictures matches");
}

TEST_F(GalleryBrowserTest, PicturesAreChosenByFacts) {
  EXPECT_EQ(Run("await choose('[name=z]', '3'); return names();"), "stack.ome.tif");
  EXPECT_EQ(Run("await choose('[name=channels]', '1'); return names();"), "field 2.png field 10.png Rät.png");
  EXPECT_EQ(Run("return all('#facts select').map(each => each.name).join(' ');"), "channels z t");
}

TEST_F(GalleryBrowserTest, TheOrderCanBeChosen) {
  EXPECT_EQ(Run("await choose('#order', 'name'); return names();"),
            "field 2.png field 10.png Rät.png stack.ome.tif broken.png");
  EXPECT_THAT(Run("await choose('#order', 'largest'); return names();"), testing::StartsWith("stack.ome.tif "));
}

TEST_F(GalleryBrowserTest, PicturesCarryTheirNamesForThoseWhoCannotSeeThem) {
  EXPECT_EQ(Run("return all('.card img').map(each => each.alt).join(' ');"),
            "field 2.png field 10.png Rät.png stack.ome.tif");
  EXPECT_EQ(Run("const card = all('[role=list] > [role=listitem]')[1];"
                "return card.ariaPosInSet + ' of ' + card.ariaSetSize;"),
            "2 of 5");
}

TEST_F(GalleryBrowserTest, KeysMoveTheFocusAndOpenTheLargerView) {
  EXPECT_EQ(Run("return all('.shot').filter(each => each.tabIndex === 0).length;"), "1");
  EXPECT_EQ(Run("all('.shot')[0].focus(); press('ArrowRight'); press('End'); press('ArrowLeft');"
                "return document.activeElement.querySelector('img').alt;"),
            "stack.ome.tif");
  EXPECT_EQ(Run("all('.shot')[0].focus(); document.activeElement.click(); await pause(); press('ArrowRight');"
                "const shown = document.querySelector('dialog[open] h2').textContent;"
                "document.querySelector('.close').click(); await pause();"
                "return shown + ', then ' + document.activeElement.querySelector('img').alt;"),
            "field 10.png, then field 10.png");
}

TEST_F(GalleryBrowserTest, TheLargerViewHasTheTexts) {
  const std::string shown =
      Run("all('.shot')[3].click(); await pause(); return all('dialog dt, dialog dd').map(each => each.textContent)"
          ".join('|') + all('dialog img')[0].alt;");
  EXPECT_THAT(shown, HasSubstr("Size|64 × 48 pixels · 20.8 µm × 15.6 µm|"));
  EXPECT_THAT(shown, HasSubstr("Calibration|0.325 µm/px|"));
  EXPECT_THAT(shown, HasSubstr("Acquired|2024-05-01 12:30:00|"));
  EXPECT_THAT(shown, testing::EndsWith("stack.ome.tif"));
}

TEST_F(GalleryBrowserTest, ThousandsOfPicturesKeepTheDocumentSmall) {
  const std::string page = ReadTextFile(m_program.Folder().Path("p.html"));
  const std::size_t card = page.find("<script type=\"application/json\">"), end = page.find('\n', card);
  std::string many = page.substr(0, card);
  for (int i = 0; i < 5000; ++i) many += page.substr(card, end + 1 - card);
  m_program.Folder().MakeFile("many.html", many + page.substr(end + 1));
  EXPECT_EQ(m_browser.Run(m_program.Folder().Path("many.html"),
                          "const few = () => all('.card').length < 200 && all('.card').length > 5;"
                          "const before = few(); scrollTo(0, 1e6 / 4); await pause(200);"
                          "return status() + ', ' + before + ' ' + few();"),
            "5,004 pictures, true true");
}

}  // namespace
