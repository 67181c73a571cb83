// TIFF's own tags and embedded thumbnails.

#include <gtest/gtest.h>

#include "tests/imageformats/tiff/tiff_test_image.h"
#include "tests/support/temp_folder.h"
#include "tests/support/tiff_writer.h"

namespace tifftest {
namespace {

using namespace qvtest;

STiffPage Plain() {
  return MakePage<std::uint8_t>(8, 6, 1, [](auto, auto, auto) { return 1; });
}

void SetResolution(TIFF* tiff, double x, double y, int unit) {
  TIFFSetField(tiff, TIFFTAG_XRESOLUTION, x);
  TIFFSetField(tiff, TIFFTAG_YRESOLUTION, y);
  TIFFSetField(tiff, TIFFTAG_RESOLUTIONUNIT, unit);
}

TEST(TiffMetadata, TagsBecomeTexts) {
  STiffPage page = Plain();
  page.description = "Kidney, section 4";
  page.tags = [](TIFF* tiff) {
    TIFFSetField(tiff, TIFFTAG_DOCUMENTNAME, "kidney4.tif");
    TIFFSetField(tiff, TIFFTAG_ARTIST, "Ren\xC3\xA9");
    TIFFSetField(tiff, TIFFTAG_DATETIME, "2021:02:03 04:05:06");
    TIFFSetField(tiff, TIFFTAG_MAKE, "Maker");
    TIFFSetField(tiff, TIFFTAG_MODEL, "Camera 3");
    TIFFSetField(tiff, TIFFTAG_SOFTWARE, "Acquire 1.0");
    TIFFSetField(tiff, TIFFTAG_HOSTCOMPUTER, "room 5");
  };
  CTestImage image(WriteTiff(page));
  const imageformats::SImageMetadata metadata = image->Metadata();
  EXPECT_EQ(CQvStringW(L"kidney4.tif"), metadata.text.imageID);
  EXPECT_EQ(CQvStringW(L"TIFF"), metadata.text.type);
  EXPECT_EQ(CQvStringW(L"René"), metadata.text.author);
  EXPECT_EQ(CQvStringW(L"Kidney, section 4"), metadata.text.description);
  EXPECT_EQ(CQvStringW(L"Maker Camera 3"), metadata.text.capturing);
  EXPECT_EQ(CQvStringW(L"2021-02-03 04:05:06"), metadata.text.date);
  EXPECT_EQ(CQvStringW(L"Acquire 1.0"), metadata.text.info2);
  EXPECT_EQ(CQvStringW(L"room 5"), metadata.text.location);
  EXPECT_NEAR(2459248.670208, metadata.acquisitionTime, 1e-5);
  EXPECT_TRUE(metadata.loops.empty());
  ASSERT_EQ(1u, metadata.picture.planes.planes.size());
}

TEST(TiffMetadata, Latin1TextsAndMachineTexts) {
  STiffPage page = Plain();
  page.description = "{\"shape\": [6, 8]}";
  page.tags = [](TIFF* tiff) {
    TIFFSetField(tiff, TIFFTAG_ARTIST, "Ren\xE9");
    TIFFSetField(tiff, TIFFTAG_DATETIME, "yesterday");
  };
  CTestImage image(WriteTiff(page));
  const imageformats::SImageMetadata metadata = image->Metadata();
  EXPECT_EQ(CQvStringW(L"René"), metadata.text.author);
  EXPECT_TRUE(metadata.text.description.IsEmpty());
  EXPECT_EQ(CQvStringW(L"yesterday"), metadata.text.date);
  EXPECT_EQ(0.0, metadata.acquisitionTime);
}

// A picture with an EXIF and a GPS directory, written by libtiff.
CQvStringW WriteWithExif(const CTempFolder& folder, const char* mode) {
  const std::string path = folder.Path("exif.tif");
  TIFF* tiff = TIFFOpen(path.c_str(), mode);
  const auto setPicture = [&](std::uint64_t exif, std::uint64_t gps) {
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, 8);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, 1);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    TIFFSetField(tiff, TIFFTAG_DATETIME, "2022:01:01 00:00:00");
    TIFFSetField(tiff, TIFFTAG_EXIFIFD, exif);
    TIFFSetField(tiff, TIFFTAG_GPSIFD, gps);
    std::uint8_t row[8] = {};
    EXPECT_EQ(1, TIFFWriteScanline(tiff, row, 0, 0));
  };
  std::uint64_t exif = 0, gps = 0;
  const double latitude[] = {50.0, 30.0, 0.0}, longitude[] = {14.0, 15.0, 0.0};
  TIFFCreateEXIFDirectory(tiff);
  TIFFSetField(tiff, EXIFTAG_DATETIMEORIGINAL, "2021:02:03 04:05:06");
  TIFFSetField(tiff, EXIFTAG_EXPOSURETIME, 0.02);
  TIFFSetField(tiff, EXIFTAG_FNUMBER, 5.6);
  EXPECT_EQ(1, TIFFWriteCustomDirectory(tiff, &exif));
  TIFFFreeDirectory(tiff);
  TIFFCreateGPSDirectory(tiff);
  TIFFSetField(tiff, GPSTAG_LATITUDEREF, "N");
  TIFFSetField(tiff, GPSTAG_LATITUDE, latitude);
  TIFFSetField(tiff, GPSTAG_LONGITUDEREF, "E");
  TIFFSetField(tiff, GPSTAG_LONGITUDE, longitude);
  EXPECT_EQ(1, TIFFWriteCustomDirectory(tiff, &gps));
  TIFFFreeDirectory(tiff);
  TIFFCreateDirectory(tiff);
  setPicture(exif, gps);
  TIFFClose(tiff);
  return folder.Wide("exif.tif");
}

TEST(TiffMetadata, ExifAddsWhatTheTagsDoNotSay) {
  for (const char* mode : {"wl", "wb", "wl8", "wb8"}) {
    const CTempFolder folder;
    CTestImage image(WriteWithExif(folder, mode));
    const imageformats::SImageMetadata metadata = image->Metadata();
    EXPECT_EQ(CQvStringW(L"2021-02-03 04:05:06"), metadata.text.date) << mode << ": the shot's, not the last change's";
    EXPECT_NEAR(2459248.670208, metadata.acquisitionTime, 1e-5) << mode;
    EXPECT_EQ(CQvStringW(L"1/50 s, f/5.6"), metadata.text.info2) << mode;
    EXPECT_EQ(CQvStringW(L"50.5\u00B0 N, 14.25\u00B0 E"), metadata.text.location) << mode;
  }
}

TEST(TiffMetadata, ExifThatLeadsNowhereAddsNothing) {
  for (const std::uint64_t place : {std::uint64_t{8}, std::uint64_t{100000}, std::uint64_t{0xFFFFFFF0u}}) {
    STiffPage page = Plain();
    page.tags = [&](TIFF* tiff) {
      TIFFSetField(tiff, TIFFTAG_EXIFIFD, place);
      TIFFSetField(tiff, TIFFTAG_DATETIME, "2021:02:03 04:05:06");
    };
    CTestImage image(WriteTiff(page));
    EXPECT_EQ(CQvStringW(L"2021-02-03 04:05:06"), image->Metadata().text.date);
  }
}

TEST(TiffMetadata, OnlyMicroscopicResolutionsCalibrate) {
  struct {
    double x, y;
    int unit;
    double calibration, aspect;
  } const cases[] = {
      {72, 72, RESUNIT_INCH, 0.0, 1.0},           {4800, 4800, RESUNIT_INCH, 0.0, 1.0},
      {118.11, 118.11, RESUNIT_CENTIMETER, 0, 1}, {40000, 20000, RESUNIT_CENTIMETER, 0.25, 2.0},
      {50800, 50800, RESUNIT_INCH, 0.5, 1.0},     {40000, 40000, RESUNIT_NONE, 0.0, 1.0},
      {0, 0, RESUNIT_CENTIMETER, 0.0, 1.0},       {1e13, 1e13, RESUNIT_CENTIMETER, 0.0, 1.0},
  };
  for (const auto& c : cases) {
    STiffPage page = Plain();
    page.tags = [&](TIFF* tiff) { SetResolution(tiff, c.x, c.y, c.unit); };
    CTestImage image(WriteTiff(page));
    const imageformats::SImageMetadata metadata = image->Metadata();
    EXPECT_NEAR(c.calibration, metadata.calibration, 1e-6) << c.x;
    EXPECT_NEAR(c.aspect, metadata.aspect, 1e-6) << c.x;
  }
}

TEST(TiffMetadata, ImplausibleLengthsAreUnknown) {
  STiffPage page = Plain();
  page.description = "ImageJ=1.53c\nimages=2\nslices=2\nunit=um\nspacing=1e-12\n";
  page.tags = [](TIFF* tiff) { SetResolution(tiff, 1e12, 1e12, RESUNIT_NONE); };
  CTestImage imageJ(WriteTiff({page, Plain()}));
  EXPECT_EQ(0.0, imageJ->Metadata().calibration);
  EXPECT_EQ(0.0, imageJ->Metadata().picture.zStep);
  page.description =
      "<OME><Image ID=\"I\"><Pixels DimensionOrder=\"XYZCT\" Type=\"uint8\" SizeX=\"8\" SizeY=\"6\" SizeZ=\"1\" "
      "SizeC=\"1\" SizeT=\"1\" PhysicalSizeX=\"1e-12\" PhysicalSizeY=\"1e9\"><TiffData/></Pixels></Image></OME>";
  CTestImage ome(WriteTiff(page));
  EXPECT_EQ(0.0, ome->Metadata().calibration);
  EXPECT_EQ(1.0, ome->Metadata().aspect);
  EXPECT_TRUE(ome->Metadata().text.sampling.IsEmpty());
}

TEST(TiffMetadata, GeometryOfTheStoredPicture) {
  STiffPage page = MakePage<std::uint16_t>(40, 30, 3, [](auto, auto, auto) { return 1; });
  page.tile = 16;
  page.compression = COMPRESSION_LZW;
  CTestImage image(WriteTiff(page, "wb8"));
  const SQvImageInfo& info = image->Info();
  EXPECT_EQ(40u, info.width);
  EXPECT_EQ(30u, info.height);
  EXPECT_EQ(3u, info.components);
  EXPECT_EQ(16, info.bpcInMemory);
  EXPECT_EQ(16, info.bpcSignificant);
  EXPECT_EQ(240u, info.widthBytes);
  EXPECT_EQ(std::uint32_t{kQvPixelUnsigned}, info.pixelType);
  EXPECT_EQ(1u, info.sequenceCount);
  EXPECT_EQ(16u, info.tileWidth);
  EXPECT_EQ(16u, info.tileHeight);
  EXPECT_EQ(std::uint32_t{kQvCompressionLossless}, info.compression);
  EXPECT_EQ(CQvStringW(L"BigTIFF"), image->Metadata().text.type);
}

TEST(TiffMetadata, EmbeddedThumbnailsByTheirNames) {
  const std::vector<std::uint8_t> jpeg = {0xFF, 0xD8, 1, 2, 3}, pixels(8 * 6 * 3, 7);
  STiffPage page = Plain();
  page.tags = [&](TIFF* tiff) {
    SetBytesTag(tiff, 65050, jpeg);
    SetBytesTag(tiff, 65051, pixels);
  };
  for (const char* mode : {"wl", "wb8"}) {
    CTestImage image(WriteTiff(page, mode));
    CQvByteArray bytes;
    bytes.Resize(3);
    ASSERT_TRUE(image->CustomTag(L"QvCustomTag:ThumbailJpg", bytes));
    EXPECT_EQ(jpeg, std::vector<std::uint8_t>(bytes.GetData(0), bytes.GetData(0) + bytes.GetSize()));
    ASSERT_TRUE(image->CustomTag(L"QvCustomTag:ThumbailPicbuf", bytes));
    EXPECT_EQ(pixels, std::vector<std::uint8_t>(bytes.GetData(0), bytes.GetData(0) + bytes.GetSize()));
    EXPECT_FALSE(image->CustomTag(L"QvCustomTag:ThumbnailJpg", bytes));
    EXPECT_EQ(pixels.size(), bytes.GetSize());
  }
  CTestImage without(WriteTiff(Plain()));
  CQvByteArray bytes;
  EXPECT_FALSE(without->CustomTag(L"QvCustomTag:ThumbailJpg", bytes));
}

}  // namespace
}  // namespace tifftest
