#include "platform/imageformats/codec/exif.h"

#include <gtest/gtest.h>
#include <libexif/exif-data.h>

#include <cstdlib>
#include <cstring>
#include <random>
#include <string>

#include "tests/support/encode_jpeg.h"
#include "tests/support/file_bytes.h"

namespace imageformats {
namespace {

using namespace qvtest;

// Builds EXIF bytes through libexif.
class CExifBuilder {
 public:
  explicit CExifBuilder(ExifByteOrder order = EXIF_BYTE_ORDER_MOTOROLA) : m_data(exif_data_new()) {
    exif_data_set_byte_order(m_data, order);
  }
  CExifBuilder(const CExifBuilder&) = delete;
  CExifBuilder& operator=(const CExifBuilder&) = delete;
  ~CExifBuilder() { exif_data_unref(m_data); }

  CExifBuilder& Text(ExifIfd ifd, int tag, const std::string& text) {
    return Raw(ifd, tag, EXIF_FORMAT_ASCII, text + '\0', 1);
  }
  CExifBuilder& Rationals(ExifIfd ifd, int tag, const std::vector<ExifRational>& values) {
    std::string bytes(values.size() * 8, '\0');
    for (std::size_t i = 0; i < values.size(); ++i) {
      exif_set_rational(reinterpret_cast<unsigned char*>(bytes.data()) + 8 * i, exif_data_get_byte_order(m_data),
                        values[i]);
    }
    return Raw(ifd, tag, EXIF_FORMAT_RATIONAL, bytes, 8);
  }
  CExifBuilder& Short(ExifIfd ifd, int tag, ExifShort value) {
    std::string bytes(2, '\0');
    exif_set_short(reinterpret_cast<unsigned char*>(bytes.data()), exif_data_get_byte_order(m_data), value);
    return Raw(ifd, tag, EXIF_FORMAT_SHORT, bytes, 2);
  }
  CExifBuilder& Raw(ExifIfd ifd, int tag, ExifFormat format, const std::string& bytes, std::size_t unit) {
    ExifEntry* entry = exif_entry_new();
    entry->tag = static_cast<ExifTag>(tag);
    entry->format = format;
    entry->components = bytes.size() / unit;
    entry->size = static_cast<unsigned int>(bytes.size());
    entry->data = static_cast<unsigned char*>(std::malloc(bytes.size()));
    std::memcpy(entry->data, bytes.data(), bytes.size());
    exif_content_add_entry(m_data->ifd[ifd], entry);
    exif_entry_unref(entry);
    return *this;
  }
  SFileBytes Bytes() const {
    unsigned char* bytes = nullptr;
    unsigned int size = 0;
    exif_data_save_data(m_data, &bytes, &size);
    SFileBytes all(bytes, bytes + size);
    std::free(bytes);
    return all;
  }

 private:
  ExifData* m_data;
};

SImageMetadata Applied(const SFileBytes& exif) {
  SImageMetadata metadata;
  ApplyExif(exif, metadata);
  return metadata;
}

TEST(Exif, FillsTheTexts) {
  CExifBuilder exif;
  exif.Text(EXIF_IFD_0, EXIF_TAG_ARTIST, "Ada Example")
      .Text(EXIF_IFD_0, EXIF_TAG_IMAGE_DESCRIPTION, "Onion root tip")
      .Text(EXIF_IFD_0, EXIF_TAG_MAKE, "Maker")
      .Text(EXIF_IFD_0, EXIF_TAG_MODEL, "Model 5")
      .Text(EXIF_IFD_0, EXIF_TAG_SOFTWARE, "Grabber 1.2")
      .Rationals(EXIF_IFD_EXIF, EXIF_TAG_EXPOSURE_TIME, {{1, 125}})
      .Rationals(EXIF_IFD_EXIF, EXIF_TAG_FNUMBER, {{28, 10}})
      .Short(EXIF_IFD_EXIF, EXIF_TAG_ISO_SPEED_RATINGS, 400)
      .Rationals(EXIF_IFD_EXIF, EXIF_TAG_FOCAL_LENGTH, {{50, 1}})
      .Text(EXIF_IFD_EXIF, 0xA434, "Relay lens")
      .Text(EXIF_IFD_EXIF, EXIF_TAG_IMAGE_UNIQUE_ID, "abc123");
  const SImageMetadata metadata = Applied(exif.Bytes());
  EXPECT_EQ(metadata.text.author, CQvStringW(L"Ada Example"));
  EXPECT_EQ(metadata.text.description, CQvStringW(L"Onion root tip"));
  EXPECT_EQ(metadata.text.capturing, CQvStringW(L"Maker Model 5"));
  EXPECT_EQ(metadata.text.info1, CQvStringW(L"Grabber 1.2"));
  EXPECT_EQ(metadata.text.info2, CQvStringW(L"1/125 s, f/2.8, ISO 400"));
  EXPECT_EQ(metadata.text.optics, CQvStringW(L"Relay lens, 50 mm"));
  EXPECT_EQ(metadata.text.imageID, CQvStringW(L"abc123"));
  EXPECT_EQ(metadata.acquisitionTime, 0.0);
}

TEST(Exif, WhatIsKnownAlreadyStays) {
  CExifBuilder exif;
  exif.Text(EXIF_IFD_0, EXIF_TAG_ARTIST, "Somebody");
  SImageMetadata metadata;
  metadata.text.author = L"Ada Example";
  ApplyExif(exif.Bytes(), metadata);
  EXPECT_EQ(metadata.text.author, CQvStringW(L"Ada Example"));
}

TEST(Exif, TheDateOfTheShotIsTheAcquisitionTime) {
  CExifBuilder exif(EXIF_BYTE_ORDER_INTEL);
  exif.Text(EXIF_IFD_0, EXIF_TAG_DATE_TIME, "2024:05:06 07:08:09")
      .Text(EXIF_IFD_EXIF, EXIF_TAG_DATE_TIME_ORIGINAL, "1970:01:01 02:00:00");
  SImageMetadata metadata = Applied(exif.Bytes());
  EXPECT_EQ(metadata.text.date, CQvStringW(L"1970-01-01 02:00:00"));
  EXPECT_NEAR(metadata.acquisitionTime, 2440587.5 + 2.0 / 24.0, 1e-8);
  exif.Text(EXIF_IFD_EXIF, 0x9011, "+02:00");
  metadata = Applied(exif.Bytes());
  EXPECT_EQ(metadata.text.date, CQvStringW(L"1970-01-01 02:00:00"));
  EXPECT_NEAR(metadata.acquisitionTime, 2440587.5, 1e-8);
}

TEST(Exif, ACommentServesAsDescription) {
  CExifBuilder ascii, unicode;
  ascii.Raw(EXIF_IFD_EXIF, EXIF_TAG_USER_COMMENT, EXIF_FORMAT_UNDEFINED, std::string("ASCII\0\0\0Slide 4", 15), 1);
  EXPECT_EQ(Applied(ascii.Bytes()).text.description, CQvStringW(L"Slide 4"));
  unicode.Raw(EXIF_IFD_EXIF, EXIF_TAG_USER_COMMENT, EXIF_FORMAT_UNDEFINED, std::string("UNICODE\0\x03\xB1\0x", 12), 1);
  EXPECT_EQ(Applied(unicode.Bytes()).text.description, CQvStringW(L"\u03B1x"));
}

TEST(Exif, APositionIsWrittenInDegrees) {
  CExifBuilder exif;
  exif.Text(EXIF_IFD_GPS, 1, "N")
      .Rationals(EXIF_IFD_GPS, 2, {{50, 1}, {30, 1}, {0, 1}})
      .Text(EXIF_IFD_GPS, 3, "W")
      .Rationals(EXIF_IFD_GPS, 4, {{0, 1}, {15, 1}, {36, 1}});
  EXPECT_EQ(Applied(exif.Bytes()).text.location, CQvStringW(L"50.5\u00B0 N, 0.26\u00B0 W"));
}

TEST(Exif, OrientationComesWithAndWithoutThePrefix) {
  SFileBytes exif = ExifWithOrientation(6);
  EXPECT_EQ(ExifOrientation(exif), EOrientation::kRightTop);
  exif.erase(exif.begin(), exif.begin() + 6);
  EXPECT_EQ(ExifOrientation(exif), EOrientation::kRightTop);
  EXPECT_EQ(ExifOrientation(ExifWithOrientation(77)), EOrientation::kTopLeft);
  EXPECT_EQ(ExifOrientation({}), EOrientation::kTopLeft);
}

TEST(Exif, DamageReadsAsNothing) {
  CExifBuilder exif;
  exif.Text(EXIF_IFD_0, EXIF_TAG_ARTIST, "Ada").Rationals(EXIF_IFD_EXIF, EXIF_TAG_FNUMBER, {{1, 0}});
  const SFileBytes sound = exif.Bytes();
  EXPECT_TRUE(Applied(sound).text.info2.IsEmpty());
  for (std::size_t size = 0; size < sound.size(); ++size) {
    Applied({sound.begin(), sound.begin() + static_cast<std::ptrdiff_t>(size)});
  }
  std::mt19937 random(5);
  for (int i = 0; i < 2000; ++i) {
    SFileBytes damaged = sound;
    for (int k = 0; k < 3; ++k) damaged[random() % damaged.size()] = static_cast<std::uint8_t>(random());
    ExifOrientation(damaged);
    Applied(damaged);
  }
}

TEST(ParseExifDate, ADateWithoutAZoneIsWhatTheClocksShowHere) {
  setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
  tzset();
  double winter = 0.0, summer = 0.0;
  EXPECT_TRUE(ParseExifDate("2000:01:01 13:00:00", std::nullopt, nullptr, &winter));
  EXPECT_TRUE(ParseExifDate("2000:07:01 14:00:00", std::nullopt, nullptr, &summer));
  setenv("TZ", "UTC0", 1);
  tzset();
  EXPECT_DOUBLE_EQ(winter, 2451545.0);
  EXPECT_DOUBLE_EQ(summer, 2451545.0 + 182);
}

TEST(ParseExifDate, UnderstandsWhatCamerasWrite) {
  CQvStringW text;
  double day = 0.0;
  EXPECT_TRUE(ParseExifDate("2000:01:01 12:00:00", 0, &text, &day));
  EXPECT_EQ(text, CQvStringW(L"2000-01-01 12:00:00"));
  EXPECT_DOUBLE_EQ(day, 2451545.0);
  EXPECT_TRUE(ParseExifDate("2000-01-01T12:00:00", -60, nullptr, &day));
  EXPECT_NEAR(day, 2451545.0 + 1.0 / 24, 1e-8);
  for (const char* bad : {"", "    :  :     :  :  ", "2000:13:01 12:00:00", "0000:00:00 00:00:00", "2000:01:01", "x"}) {
    EXPECT_FALSE(ParseExifDate(bad, 0, &text, &day)) << bad;
  }
  EXPECT_EQ(text, CQvStringW(L"2000-01-01 12:00:00"));
}

}  // namespace
}  // namespace imageformats
