#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libexif/exif-data.h>
#include <tiffio.h>

#include <pugixml.hpp>
#include <vector>

#include "picture/qvpicture.h"
#include "tests/samples/sample_folder.h"
#include "tests/support/c_handle.h"

// Looks at the samples with other eyes than those that made them.

namespace {

using testing::HasSubstr;
using testing::StartsWith;

// Private tags: ImageJ's metadata and its sizes, an embedded thumbnail as JPEG stream and as pixels.
constexpr std::uint32_t kTagImageJByteCounts = 50838, kTagImageJMetadata = 50839;
constexpr std::uint32_t kTagThumbnailJpeg = 65050, kTagThumbnailPixels = 65051;

using CTiffFile = qvtest::CHandle<TIFF, TIFFClose>;

CTiffFile OpenTiff(const std::string& name) {
  TIFFSetWarningHandler(nullptr);
  return CTiffFile(TIFFOpen(CSampleFolder::Shared().Path(name).c_str(), "r"));
}

template <class Value>
Value Field(TIFF* file, std::uint32_t tag) {
  Value value{};
  TIFFGetFieldDefaulted(file, tag, &value);
  return value;
}

// The bytes of a tag that the library does not know, or none.
std::vector<std::uint8_t> UnknownField(TIFF* file, std::uint32_t tag) {
  std::uint32_t count = 0;
  void* data = nullptr;
  if (TIFFGetField(file, tag, &count, &data) != 1) return {};
  const auto* bytes = static_cast<const std::uint8_t*>(data);
  return {bytes, bytes + count};
}

int CountDirectories(TIFF* file) { return static_cast<int>(TIFFNumberOfDirectories(file)); }

pugi::xml_document OmeXml(const std::string& name) {
  pugi::xml_document document;
  const CTiffFile file = OpenTiff(name);
  const char* text = file ? Field<const char*>(file.get(), TIFFTAG_IMAGEDESCRIPTION) : nullptr;
  EXPECT_TRUE(text != nullptr && document.load_string(text)) << name;
  return document;
}

TEST(SampleContents, EveryUndamagedTiffDecodes) {
  int files = 0;
  for (const auto& [name, content] : CSampleFolder::Shared().Contents()) {
    if (name.starts_with("damaged/") || (!name.ends_with(".tif") && !name.ends_with(".TIF"))) continue;
    const CTiffFile file = OpenTiff(name);
    ASSERT_TRUE(file) << name;
    const auto width = Field<std::uint32_t>(file.get(), TIFFTAG_IMAGEWIDTH),
               height = Field<std::uint32_t>(file.get(), TIFFTAG_IMAGELENGTH);
    if (Field<std::uint16_t>(file.get(), TIFFTAG_BITSPERSAMPLE) == 8) {
      std::vector<std::uint32_t> pixels(std::size_t{width} * height);
      EXPECT_EQ(TIFFReadRGBAImage(file.get(), width, height, pixels.data(), 1), 1) << name;
    } else {
      std::vector<std::uint8_t> row(static_cast<std::size_t>(TIFFScanlineSize(file.get())));
      for (std::uint32_t y = 0; y < height; ++y) ASSERT_EQ(TIFFReadScanline(file.get(), row.data(), y, 0), 1) << name;
    }
    ++files;
  }
  EXPECT_GT(files, 25);
}

TEST(SampleContents, OmeDocumentsDescribeTheirDirectories) {
  for (const auto& [name, content] : CSampleFolder::Shared().Contents()) {
    if (!name.ends_with(".ome.tif") || name.starts_with("damaged/") || name.starts_with("Histology/")) continue;
    const pugi::xml_document document = OmeXml(name);
    int planes = 0;
    for (const pugi::xml_node image : document.child("OME").children("Image")) {
      const pugi::xml_node pixels = image.child("Pixels");
      const int expected =
          pixels.attribute("SizeC").as_int() * pixels.attribute("SizeZ").as_int() * pixels.attribute("SizeT").as_int();
      EXPECT_EQ(pixels.child("TiffData").attribute("IFD").as_int(-1), planes);
      EXPECT_EQ(pixels.child("TiffData").attribute("PlaneCount").as_int(), expected);
      EXPECT_GT(pixels.attribute("PhysicalSizeX").as_double(), 0);
      planes += expected;
    }
    EXPECT_EQ(CountDirectories(OpenTiff(name).get()), planes) << name;
  }
}

TEST(SampleContents, OmeDocumentHoldsTheAcquisition) {
  const pugi::xml_document document = OmeXml("Immunofluorescence/z-stack 60x.ome.tif");
  const pugi::xml_node ome = document.child("OME"), pixels = ome.child("Image").child("Pixels");
  EXPECT_STREQ(ome.attribute("xmlns").value(), "http://www.openmicroscopy.org/Schemas/OME/2016-06");
  EXPECT_EQ(ome.child("Instrument").child("Objective").attribute("LensNA").as_double(), 1.4);
  EXPECT_STREQ(ome.child("Experimenter").attribute("LastName").value(), "Lindqvist");
  EXPECT_THAT(ome.child("Image").child_value("AcquisitionDate"), StartsWith("2024-"));
  EXPECT_EQ(pixels.attribute("SizeZ").as_int(), 9);
  EXPECT_GT(pixels.attribute("PhysicalSizeZ").as_double(), 0);
  EXPECT_STREQ(pixels.child("Channel").attribute("Name").value(), "DAPI");
  EXPECT_EQ(pixels.child("Channel").attribute("Color").as_int(), 0x3C6CFFFF);
}

TEST(SampleContents, StagePositionsAreSeparateImages) {
  const pugi::xml_document document = OmeXml("Live imaging/six positions.ome.tif");
  int images = 0;
  for (const pugi::xml_node image : document.child("OME").children("Image")) {
    EXPECT_EQ(image.child("StageLabel").attribute("X").as_double(), 9000.0 * (images % 3));
    ++images;
  }
  EXPECT_EQ(images, 6);
}

TEST(SampleContents, HyperstackSpeaksImageJ) {
  const CTiffFile file = OpenTiff("ImageJ/hyperstack 2c 5z 3t.tif");
  ASSERT_TRUE(file);
  EXPECT_TRUE(TIFFIsBigEndian(file.get()));
  EXPECT_THAT(Field<const char*>(file.get(), TIFFTAG_IMAGEDESCRIPTION),
              HasSubstr("images=30\nchannels=2\nslices=5\nframes=3\n"));
  EXPECT_EQ(CountDirectories(file.get()), 30);
  ASSERT_EQ(TIFFSetDirectory(file.get(), 0), 1);
  const auto metadata = UnknownField(file.get(), kTagImageJMetadata);
  ASSERT_GT(metadata.size(), 2u * 768);
  EXPECT_EQ(std::string(metadata.begin(), metadata.begin() + 8), "IJIJinfo");
  std::uint32_t count = 0;
  const std::uint32_t* sizes = nullptr;
  ASSERT_EQ(TIFFGetField(file.get(), kTagImageJByteCounts, &count, &sizes), 1);
  EXPECT_EQ(count, 1u + 1 + 30 + 1 + 2);  // header, text, labels, ranges, colour tables
  std::size_t total = 0;
  for (std::uint32_t i = 0; i < count; ++i) total += sizes[i];
  EXPECT_EQ(total, metadata.size());
}

TEST(SampleContents, SlidesArePyramids) {
  const CTiffFile chain = OpenTiff("Histology/HE section 1.tif"), nested = OpenTiff("Histology/HE section 2.ome.tif");
  ASSERT_TRUE(chain && nested);
  EXPECT_TRUE(TIFFIsTiled(chain.get()));
  EXPECT_EQ(Field<std::uint16_t>(chain.get(), TIFFTAG_COMPRESSION), COMPRESSION_JPEG);
  const auto width = Field<std::uint32_t>(chain.get(), TIFFTAG_IMAGEWIDTH);
  ASSERT_EQ(TIFFReadDirectory(chain.get()), 1);
  EXPECT_EQ(Field<std::uint32_t>(chain.get(), TIFFTAG_IMAGEWIDTH), width / 2);
  EXPECT_EQ(Field<std::uint32_t>(chain.get(), TIFFTAG_SUBFILETYPE), std::uint32_t{FILETYPE_REDUCEDIMAGE});
  EXPECT_EQ(CountDirectories(nested.get()), 1);
}

TEST(SampleContents, EmbeddedThumbnailsHaveTheAgreedForms) {
  const CTiffFile both = OpenTiff("Embedded thumbnails/both.tif");
  ASSERT_TRUE(both);
  const auto jpeg = UnknownField(both.get(), kTagThumbnailJpeg), pixels = UnknownField(both.get(), kTagThumbnailPixels);
  ASSERT_GT(jpeg.size(), 4u);
  EXPECT_EQ(jpeg[0], 0xFF);
  EXPECT_EQ(jpeg[1], 0xD8);
  CQvPicture picture;
  ASSERT_TRUE(picture.Reinit(Field<std::uint32_t>(both.get(), TIFFTAG_IMAGEWIDTH),
                             Field<std::uint32_t>(both.get(), TIFFTAG_IMAGELENGTH), 8, 3, false));
  EXPECT_EQ(pixels.size(), picture->dataSize);
  // The frame is amber, in red, green, blue.
  EXPECT_EQ(pixels[0], 255);
  EXPECT_EQ(pixels[1], 184);
  EXPECT_EQ(pixels[2], 26);
  EXPECT_TRUE(UnknownField(OpenTiff("Embedded thumbnails/jpeg.tif").get(), kTagThumbnailPixels).empty());
  EXPECT_TRUE(UnknownField(OpenTiff("Embedded thumbnails/raw pixels.tif").get(), kTagThumbnailJpeg).empty());
}

TEST(SampleContents, PhotographsCarryExif) {
  const std::string path = CSampleFolder::Shared().Path("Photographs/well plate 002.jpg");
  const qvtest::CHandle<ExifData, exif_data_unref> exif(exif_data_new_from_file(path.c_str()));
  ASSERT_TRUE(exif);
  const auto text = [&](ExifIfd directory, ExifTag tag) {
    char buffer[64] = "";
    ExifEntry* entry = exif_content_get_entry(exif->ifd[directory], tag);
    return std::string(entry ? exif_entry_get_value(entry, buffer, sizeof buffer) : "");
  };
  EXPECT_EQ(text(EXIF_IFD_0, EXIF_TAG_ORIENTATION), "Right-top");
  EXPECT_THAT(text(EXIF_IFD_EXIF, EXIF_TAG_DATE_TIME_ORIGINAL), StartsWith("2024:"));
  EXPECT_EQ(text(EXIF_IFD_EXIF, EXIF_TAG_EXPOSURE_TIME), "1/125 sec.");
  EXPECT_GT(exif->size, 500u);  // the camera's own small picture
}

TEST(SampleContents, PlotsHaveDifferentPngTypes) {
  const auto header = [](const std::string& name) {
    const std::string content = CSampleFolder::Shared().Content(name);
    EXPECT_THAT(content, StartsWith("\x89PNG")) << name;
    return std::pair<int, int>(content.at(24), content.at(25));  // bits, colour type
  };
  EXPECT_EQ(header("Plots/recovery curves 001.png"), std::pair(8, 6));
  EXPECT_EQ(header("Plots/correlation 002.png"), std::pair(16, 2));
  EXPECT_EQ(header("Plots/nuclei 003.png"), std::pair(8, 3));
  EXPECT_EQ(header("Plots/surface 004.png"), std::pair(16, 0));
}

TEST(SampleContents, DamagedFilesAreDamaged) {
  const CSampleFolder& folder = CSampleFolder::Shared();
  EXPECT_TRUE(folder.Content("damaged/empty.tif").empty());
  EXPECT_THAT(folder.Content("damaged/notes.tif"), StartsWith("Slide 4"));
  const std::string jpeg = folder.Content("damaged/cut off.jpg");
  EXPECT_THAT(jpeg, StartsWith("\xFF\xD8"));
  EXPECT_FALSE(jpeg.ends_with("\xFF\xD9"));
  TIFFSetErrorHandler(nullptr);
  const CTiffFile rows = OpenTiff("damaged/too many rows.tif");
  if (rows) {
    EXPECT_EQ(Field<std::uint32_t>(rows.get(), TIFFTAG_IMAGELENGTH), 4000000000u);
  }
  const CTiffFile half = OpenTiff("damaged/still being written.tif");
  ASSERT_TRUE(half);
  std::vector<std::uint8_t> row(static_cast<std::size_t>(TIFFScanlineSize(half.get())));
  EXPECT_EQ(TIFFReadEncodedStrip(half.get(), 0, row.data(), static_cast<tmsize_t>(row.size())), -1);
  const CTiffFile loop = OpenTiff("damaged/directory loop.tif");
  ASSERT_TRUE(loop);
  EXPECT_FALSE(TIFFReadDirectory(loop.get()) && TIFFReadDirectory(loop.get()));
}

}  // namespace
