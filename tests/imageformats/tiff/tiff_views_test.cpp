// Planes that a view chooses, of every kind of stack.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "tests/imageformats/tiff/tiff_ome_document.h"
#include "tests/support/temp_folder.h"
#include "tests/support/tiff_writer.h"

namespace tifftest {
namespace {

using namespace qvtest;
using imageformats::EPlaneChoice;
using imageformats::SViewChoice;

SRgb ShownAs(CTestImage& image, const SViewChoice& view) { return RenderView(image, 4, 3, view).At(1, 1); }
int GreyAs(const std::vector<STiffPage>& pages, const SViewChoice& view) {
  CTestImage image(WriteTiff(pages));
  return ShownAs(image, view).r;
}

SViewChoice Planes(EPlaneChoice planes, std::uint32_t z = 0) {
  SViewChoice view;
  view.planes = planes;
  view.z = z;
  return view;
}
SViewChoice Time(std::uint32_t t, EPlaneChoice planes = EPlaneChoice::kMiddle) {
  SViewChoice view = Planes(planes);
  view.t = t;
  return view;
}

// Sets the value of a tag in a little-endian file of one directory.
void SetShort(SFileBytes* bytes, std::uint32_t tag, std::uint8_t value) {
  const std::size_t directory = (*bytes)[4] | (*bytes)[5] << 8 | (*bytes)[6] << 16;
  for (std::size_t entry = directory + 2; entry < directory + 2 + 12u * (*bytes)[directory]; entry += 12) {
    if (((*bytes)[entry] | (*bytes)[entry + 1] << 8) == static_cast<int>(tag)) {
      (*bytes)[entry + 8] = value;
      (*bytes)[entry + 9] = 0;
    }
  }
}

// Page n has the grey 10 (n + 1).
std::vector<STiffPage> ImageJPages(int channels, int slices, int frames) {
  const int images = channels * slices * frames;
  return Pages(images, "ImageJ=1.53t\nimages=" + std::to_string(images) + "\nchannels=" + std::to_string(channels) +
                           "\nslices=" + std::to_string(slices) + "\nframes=" + std::to_string(frames) + "\n");
}

TEST(TiffViews, PlanesOfAnImageJStack) {
  const auto pages = ImageJPages(1, 5, 2);
  EXPECT_EQ(30, GreyAs(pages, {}));
  EXPECT_EQ(10, GreyAs(pages, Planes(EPlaneChoice::kFirst)));
  EXPECT_EQ(50, GreyAs(pages, Planes(EPlaneChoice::kLast)));
  EXPECT_EQ(20, GreyAs(pages, Planes(EPlaneChoice::kGiven, 1)));
  EXPECT_EQ(50, GreyAs(pages, Planes(EPlaneChoice::kMaximum)));
  EXPECT_EQ(30, GreyAs(pages, Planes(EPlaneChoice::kMean)));
  EXPECT_EQ(80, GreyAs(pages, Time(1)));
  EXPECT_EQ(100, GreyAs(pages, Time(7, EPlaneChoice::kMaximum)));
}

TEST(TiffViews, ChannelsOfAnImageJStack) {
  CTestImage image(WriteTiff(ImageJPages(2, 3, 1)));
  EXPECT_EQ((SRgb{30, 40, 0}), ShownAs(image, {}));
  EXPECT_EQ((SRgb{50, 60, 0}), ShownAs(image, Planes(EPlaneChoice::kLast)));
  SViewChoice view = Planes(EPlaneChoice::kFirst);
  view.channels = 1 << 1;
  EXPECT_EQ((SRgb{0, 20, 0}), ShownAs(image, view));
}

// Uncompressed planes follow each other behind one directory, as in ImageJ's files of more than 4 GB.
TEST(TiffViews, PlanesOfAStackUnderOneDirectory) {
  STiffPage page = MakePage<std::uint8_t>(8, 18, 1, [](auto, auto y, auto) { return 10 * (1 + y / 6); });
  page.description = "ImageJ=1.53t\nimages=3\nslices=3\n";
  page.tags = [](TIFF* tiff) { TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, 18u); };
  SFileBytes bytes = WriteTiff(page);
  SetShort(&bytes, TIFFTAG_IMAGELENGTH, 6);
  SetShort(&bytes, TIFFTAG_ROWSPERSTRIP, 6);
  SetShort(&bytes, TIFFTAG_STRIPBYTECOUNTS, 48);
  CTestImage image(bytes);
  EXPECT_EQ(20, ShownAs(image, {}).r);
  EXPECT_EQ(10, ShownAs(image, Planes(EPlaneChoice::kFirst)).r);
  EXPECT_EQ(30, ShownAs(image, Planes(EPlaneChoice::kMaximum)).r);
}

TEST(TiffViews, PlanesOfAPlainStack) {
  const auto pages = Pages(4, "");
  EXPECT_EQ(10, GreyAs(pages, {}));
  EXPECT_EQ(30, GreyAs(pages, Planes(EPlaneChoice::kGiven, 2)));
  EXPECT_EQ(40, GreyAs(pages, Planes(EPlaneChoice::kLast)));
  EXPECT_EQ(40, GreyAs(pages, Planes(EPlaneChoice::kMaximum)));
}

TEST(TiffViews, PlanesOfAnOmeImageInAnyOrder) {
  for (const char* order : {"XYZCT", "XYTZC", "XYCZT"}) {
    const auto pages = Pages(12, Document(Pixels(order, 3, 2, 2, "<TiffData/>")));
    CTestImage image(WriteTiff(pages));
    const std::string axes = order;
    // The page of a plane by its place.
    const auto page = [&](int z, int c, int t) {
      int number = 0, step = 1;
      for (std::size_t i = 2; i < 5; ++i) {
        number += step * (axes[i] == 'Z' ? z : axes[i] == 'C' ? c : t);
        step *= axes[i] == 'Z' ? 3 : 2;
      }
      return 10 * (number + 1);
    };
    EXPECT_EQ((SRgb{page(1, 0, 0), page(1, 1, 0), 0}), ShownAs(image, {})) << order;
    EXPECT_EQ((SRgb{page(2, 0, 0), page(2, 1, 0), 0}), ShownAs(image, Planes(EPlaneChoice::kLast))) << order;
    EXPECT_EQ((SRgb{page(1, 0, 1), page(1, 1, 1), 0}), ShownAs(image, Time(1))) << order;
    EXPECT_EQ((SRgb{page(2, 0, 1), page(2, 1, 1), 0}), ShownAs(image, Time(1, EPlaneChoice::kMaximum))) << order;
  }
}

std::string ThreePositions() {
  std::string images;
  for (int i = 0; i < 3; ++i) {
    images += "<Image ID=\"Image:" + std::to_string(i) + "\">" +
              Pixels("XYZCT", 1, 1, 1, "<TiffData IFD=\"" + std::to_string(i) + "\"/>") + "</Image>";
  }
  return std::string(kOpen) + images + "</OME>";
}

TEST(TiffViews, PositionsOfAnOmeFile) {
  CTestImage image(WriteTiff(Pages(3, ThreePositions())));
  EXPECT_EQ(10, ShownAs(image, {}).r);
  SViewChoice view;
  view.position = 2;
  EXPECT_EQ(30, ShownAs(image, view).r);
}

TEST(TiffViews, AMissingFileOfASetGivesWayToTheNearest) {
  const CTempFolder folder;
  std::string data;
  for (int z = 0; z < 4; ++z) {
    data += "<TiffData FirstZ=\"" + std::to_string(z) + "\" IFD=\"0\"><UUID FileName=\"p" + std::to_string(z) +
            ".tif\">urn:uuid:" + std::to_string(z) + "</UUID></TiffData>";
  }
  for (const int z : {0, 2}) {
    STiffPage page = MakePage<std::uint8_t>(8, 6, 1, [&](auto, auto, auto) { return 10 * (z + 1); });
    page.description = Document(Pixels("XYZCT", 4, 1, 1, data));
    folder.MakeFile("p" + std::to_string(z) + ".tif", WriteTiff(page));
  }
  CTestImage image(folder.Wide("p0.tif"));
  EXPECT_EQ(30, ShownAs(image, Planes(EPlaneChoice::kLast)).r);
  EXPECT_EQ(10, ShownAs(image, Planes(EPlaneChoice::kFirst)).r);
}

TEST(TiffViews, PlanesOfATifffileArray) {
  const auto described = [](const std::string& description) { return Pages(12, description); };
  EXPECT_EQ(70, GreyAs(described(R"({"shape": [12, 6, 8]})"), {}));
  EXPECT_EQ(70, GreyAs(described(R"({"axes": "ZYX", "shape": [12, 6, 8]})"), {}));
  EXPECT_EQ(30, GreyAs(described(R"({"shape": [3, 4, 6, 8], "axes": "TZYX"})"), {}));
  EXPECT_EQ(110, GreyAs(described(R"({"shape": [3, 4, 6, 8], "axes": "TZYX"})"), Time(2)));
  CTestImage channels(WriteTiff(described(R"({"shape": [6, 2, 6, 8], "axes": "ZCYX"})")));
  EXPECT_EQ((SRgb{70, 80, 0}), ShownAs(channels, {}));
  EXPECT_EQ(6u, channels->Info().sequenceCount);
  const auto metadata = channels->Metadata();
  ASSERT_EQ(2u, metadata.loops.size());
  EXPECT_EQ(std::uint32_t{kQvLoopZ}, metadata.loops[0].type);
  EXPECT_EQ(std::uint32_t{kQvLoopLambda}, metadata.loops[1].type);
}

TEST(TiffViews, ATifffileShapeThatIsNotThatOfThePagesIsPassedOver) {
  for (const char* description :
       {R"({"shape": [5, 6, 8]})", R"({"shape": [12, 8, 6]})", R"({"shape": [-12, 6, 8]})", R"({"shape": [12, 6, 8)",
        R"({"shape": "12"})", R"({"shape":)", R"({"shape": [12, 6, 8], "axes": "ZYX)", "{", R"({"axes": "ZYX"})",
        R"({"shape": [4294967296, 12, 6, 8]})", R"({"shape": [65536, 65536, 65536, 65536, 12, 6, 8]})",
        R"({"shape": [0, 6, 8]})"}) {
    const int shown = GreyAs(Pages(12, description), {});
    EXPECT_TRUE(shown == 10 || (shown == 70 && std::string(description).find(": [12, 6, 8]") != std::string::npos))
        << description;
  }
}

// A page of nothing, or of one bright half.
STiffPage HalfPage(bool isEmpty) {
  return MakePage<std::uint8_t>(8, 6, 1, [=](auto x, auto, auto) { return !isEmpty && x < 4 ? 200 : 0; });
}

TEST(TiffViews, AnEmptyMiddleOrFirstPageGivesWayToTheNextThatIsNot) {
  std::vector<STiffPage> pages = {HalfPage(true), HalfPage(true), HalfPage(false), HalfPage(true)};
  EXPECT_EQ(200, GreyAs(pages, {})) << "a plain stack";
  EXPECT_EQ(0, GreyAs(pages, Planes(EPlaneChoice::kFirst)));
  pages = {HalfPage(true), HalfPage(true), HalfPage(true), HalfPage(false), HalfPage(true)};
  pages[0].description = "ImageJ=1.53t\nimages=5\nslices=5\n";
  EXPECT_EQ(200, GreyAs(pages, {})) << "an ImageJ stack";
}

TEST(TiffViews, SignedBytesAreShownAsTheBytesTheyMostlyAre) {
  STiffPage page = MakePage<std::uint8_t>(8, 6, 1, [](auto x, auto, auto) { return 32 * x; });
  page.format = SAMPLEFORMAT_INT;
  CTestImage image(WriteTiff(page));
  const SRgbPicture picture = Render(image, 8, 6);
  for (std::uint32_t x = 0; x < 8; ++x) EXPECT_EQ(static_cast<int>(32 * x), picture.At(x, 3).r);
}

// Squares of 20 pixels, numbered from 1 on without order.
template <class T>
STiffPage LabelPage() {
  return MakePage<T>(240, 180, 1, [](auto x, auto y, auto) {
    return x % 30 < 10 || y % 30 < 10 ? 0u : 1u + (x / 30 * 7 + y / 30 * 5) % 48;
  });
}

template <class T>
void ExpectDistinctColors() {
  CTestImage image(WriteTiff(LabelPage<T>()));
  const SRgbPicture picture = Render(image, 80, 60);
  EXPECT_EQ((SRgb{0, 0, 0}), picture.At(1, 1));
  const SRgb first = picture.At(6, 6), right = picture.At(16, 6), below = picture.At(6, 16);
  EXPECT_GT(std::max({first.r, first.g, first.b}), 180);
  EXPECT_FALSE(first == right);
  EXPECT_FALSE(first == below);
  // No mixture at the border: each pixel is a label's colour or the background.
  for (std::uint32_t x = 3; x < 10; ++x) {
    EXPECT_TRUE(picture.At(x, 6) == first || picture.At(x, 6) == (SRgb{0, 0, 0})) << x;
  }
}

TEST(TiffViews, LabelsHaveDistinctColours) {
  ExpectDistinctColors<std::uint8_t>();
  ExpectDistinctColors<std::uint16_t>();
  ExpectDistinctColors<std::int32_t>();
}

TEST(TiffViews, LabelsAreKnownWhereverThePixelsFall) {
  CTestImage image(WriteTiff(LabelPage<std::uint16_t>()));
  for (const std::uint32_t width : {71u, 97u, 133u, 199u, 240u}) {
    const SRgbPicture picture = Render(image, width, width * 3 / 4);
    std::uint32_t colored = 0;
    for (std::uint32_t i = 0; i < width * picture.height; ++i) {
      const SRgb pixel = picture.At(i % width, i / width);
      colored += pixel.r != pixel.g || pixel.g != pixel.b;
    }
    EXPECT_GT(colored, width * picture.height / 3) << width;
  }
}

TEST(TiffViews, AMaskOfZeroAndOneIsVisible) {
  CTestImage image(WriteTiff(MakePage<std::uint8_t>(80, 60, 1, [](auto x, auto, auto) { return x < 40 ? 0 : 1; })));
  EXPECT_EQ(0, Render(image, 40, 30).At(5, 5).r);
  EXPECT_EQ(255, Render(image, 40, 30).At(35, 5).r);
}

}  // namespace
}  // namespace tifftest
