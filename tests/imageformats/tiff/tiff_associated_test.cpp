// A slide's label and macro image: never the overview, and rendered only when asked for.

#include <gtest/gtest.h>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/base/new_picture.h"
#include "platform/imageformats/tiff/directory/associated_pages.h"
#include "tests/imageformats/tiff/tiff_ome_document.h"
#include "tests/imageformats/tiff/tiff_test_image.h"
#include "tests/support/tiff_writer.h"

namespace tifftest {
namespace {

using namespace qvtest;

constexpr int kTissue = 100, kLabel = 200, kMacro = 150;

STiffPage GreyPage(std::uint32_t width, std::uint32_t height, int grey, const std::string& description,
                   std::uint32_t subfileType = 0) {
  STiffPage page = MakePage<std::uint8_t>(width, height, 1, [&](auto, auto, auto) { return grey; });
  page.description = description;
  page.subfileType = subfileType;
  return page;
}

const std::string kScannedBy = "A Scanner's Library v1\n";

int Overview(CTestImage& image, std::uint32_t width = 30, std::uint32_t height = 22) {
  return Render(image, width, height).At(width / 2, height / 2).r;
}
int Overview(const std::vector<STiffPage>& pages) {
  CTestImage image(WriteTiff(pages));
  return Overview(image);
}

int Associated(CTestImage& image, const std::string& name) {
  CQvPicture picture = imageformats::NewPicture(8, 6, 8, 3);
  imageformats::CRenderGuard guard;
  image->RenderAssociated(name, *picture.Get(), guard);
  return picture.Row(3)[3 * 4];
}

TEST(TiffAssociated, ALabelOfALevelsShapeIsNotTheOverview) {
  EXPECT_EQ(Overview({GreyPage(400, 300, kTissue, "scanned"),
                      GreyPage(100, 75, kLabel, kScannedBy + "label 100x75", FILETYPE_REDUCEDIMAGE)}),
            kTissue);
  EXPECT_EQ(Overview({GreyPage(400, 300, kTissue, "scanned"), GreyPage(100, 75, kMacro, "Macro Image")}), kTissue);
  EXPECT_EQ(Overview({GreyPage(400, 300, kTissue, "scanned"), GreyPage(100, 75, kMacro, "", 9)}), kTissue);
}

TEST(TiffAssociated, ALabelBeforeTheSlideIsNotTheOverview) {
  EXPECT_EQ(Overview({GreyPage(100, 75, kLabel, "Label"), GreyPage(60, 20, kMacro, "macro 60x20"),
                      GreyPage(400, 300, kTissue, "scanned")}),
            kTissue);
}

TEST(TiffAssociated, AFileOfNothingElseShowsIt) { EXPECT_EQ(Overview({GreyPage(100, 75, kLabel, "Label")}), kLabel); }

TEST(TiffAssociated, ALabelOfAnOmeDocumentIsNotTheOverview) {
  const auto image = [](const std::string& name, int ifd) {
    const std::string number = std::to_string(ifd);
    std::string text = "<Image ID=\"Image:" + number + "\" Name=\"" + name + "\">";
    text += Pixels("XYZCT", 1, 1, 1, "<TiffData IFD=\"" + number + "\" PlaneCount=\"1\"/>");
    return text + "</Image>";
  };
  const std::string document =
      kOpen + image("label image", 0) + image("macro image", 1) + image("the tissue", 2) + "</OME>";
  CTestImage slide(WriteTiff(Pages(3, document)));
  EXPECT_EQ(Shown(slide).r, 30);
  const auto images = slide->AssociatedImages();
  ASSERT_EQ(images.size(), 2u);
  EXPECT_EQ(images[0].name, "label");
  EXPECT_EQ(images[0].size, (imageformats::SSize{8, 6}));
  EXPECT_EQ(Associated(slide, "label"), 10);
  EXPECT_EQ(Associated(slide, "macro"), 20);
}

TEST(TiffAssociated, EachIsRenderedWhenItIsAskedFor) {
  CTestImage slide(WriteTiff({GreyPage(400, 300, kTissue, "scanned"), GreyPage(100, 90, kLabel, "label 100x90"),
                              GreyPage(120, 40, kMacro, kScannedBy + "macro 120x40", 9)}));
  const auto images = slide->AssociatedImages();
  ASSERT_EQ(images.size(), 2u);
  EXPECT_EQ(images[0].size, (imageformats::SSize{100, 90}));
  EXPECT_EQ(images[1].size, (imageformats::SSize{120, 40}));
  EXPECT_EQ(Associated(slide, "label"), kLabel);
  EXPECT_EQ(Associated(slide, "macro"), kMacro);
  EXPECT_EQ(Overview(slide), kTissue);
  EXPECT_EQ(slide->Info().sequenceCount, 1u);
}

TEST(TiffAssociated, NoneIsAnEmbeddedThumbnail) {
  CTestImage slide(WriteTiff({GreyPage(400, 300, kTissue, "scanned"), GreyPage(100, 90, kLabel, "label")}));
  CQvByteArray bytes;
  for (const wchar_t* name : {L"QvCustomTag:ThumbailJpg", L"QvCustomTag:ThumbailPicbuf", L"label", L"macro"}) {
    EXPECT_FALSE(slide->CustomTag(name, bytes)) << name;
  }
}

TEST(TiffAssociated, OrdinaryFilesHoldNone) {
  CTestImage plain(WriteTiff({GreyPage(40, 30, kTissue, ""), GreyPage(40, 30, kLabel, "")}));
  EXPECT_TRUE(plain->AssociatedImages().empty());
  for (const char* name : {"label", "macro", ""}) {
    EXPECT_THROW(Associated(plain, name), imageformats::CDamagedError) << name;
  }
}

TEST(TiffAssociated, OnlyALineOfItsOwnSaysWhatAPageShows) {
  using imageformats::tiff::AssociatedName;
  for (const char* text : {"label", "Label Image", "LABEL_IMAGE", "label 387x463", "maker v1\r\nlabel 387x463",
                           "maker\n  label  \nmore"}) {
    EXPECT_EQ(AssociatedName(text), "label") << text;
  }
  for (const char* text : {"macro", "Macro image", "maker\nmacro 1280x431"}) EXPECT_EQ(AssociatedName(text), "macro");
  for (const char* text : {"", "labels", "label-free imaging", "label 1", "macrophages", "macro lens", "the label",
                           "label 12", "label 12x", "labelimage", "\n\n"}) {
    EXPECT_EQ(AssociatedName(text), "") << text;
  }
}

}  // namespace
}  // namespace tifftest
