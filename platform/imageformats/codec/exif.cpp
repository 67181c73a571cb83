#include "platform/imageformats/codec/exif.h"

#include <libexif/exif-data.h>
#include <libexif/exif-utils.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/imageformats/base/text.h"
#include "system/qvdatetime.h"

namespace imageformats {

namespace {

constexpr std::string_view kPrefix{"Exif\0\0", 6};
constexpr std::size_t kMaxExifBytes = 16u << 20;

// Owns libexif's data.
class CExifReader {
 public:
  explicit CExifReader(std::span<const std::uint8_t> bytes) {
    if (bytes.size() < 8 || bytes.size() > kMaxExifBytes) return;
    std::string block;
    if (std::memcmp(bytes.data(), kPrefix.data(), kPrefix.size()) != 0) block = kPrefix;
    block.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    m_data.reset(exif_data_new_from_data(reinterpret_cast<const unsigned char*>(block.data()),
                                         static_cast<unsigned int>(block.size())));
  }

  explicit operator bool() const noexcept { return m_data != nullptr; }
  ExifByteOrder Order() const noexcept { return exif_data_get_byte_order(m_data.get()); }

  std::string_view Bytes(ExifIfd ifd, ExifTag tag) const noexcept {
    const ExifEntry* entry = Find(ifd, tag);
    return entry ? std::string_view(reinterpret_cast<const char*>(entry->data), entry->size) : std::string_view();
  }
  CQvStringW Text(ExifIfd ifd, ExifTag tag) const {
    const ExifEntry* entry = Find(ifd, tag);
    return entry && entry->format == EXIF_FORMAT_ASCII ? TextOf(Bytes(ifd, tag)) : CQvStringW();
  }
  std::optional<std::uint32_t> Short(ExifIfd ifd, ExifTag tag) const noexcept {
    const ExifEntry* entry = Find(ifd, tag);
    if (!entry || entry->format != EXIF_FORMAT_SHORT || entry->size < 2) return std::nullopt;
    return exif_get_short(entry->data, Order());
  }
  std::optional<ExifRational> Rational(ExifIfd ifd, ExifTag tag, unsigned int index = 0) const noexcept {
    const ExifEntry* entry = Find(ifd, tag);
    if (!entry || entry->format != EXIF_FORMAT_RATIONAL || entry->size < 8 * (index + 1)) return std::nullopt;
    const ExifRational value = exif_get_rational(entry->data + 8 * index, Order());
    return value.denominator != 0 ? std::optional(value) : std::nullopt;
  }

 private:
  struct SUnref {
    void operator()(ExifData* data) const { exif_data_unref(data); }
  };
  const ExifEntry* Find(ExifIfd ifd, ExifTag tag) const noexcept {
    const ExifEntry* entry = exif_content_get_entry(m_data->ifd[ifd], tag);
    return entry && entry->data ? entry : nullptr;
  }

  std::unique_ptr<ExifData, SUnref> m_data;
};

double ToDouble(const ExifRational& r) { return static_cast<double>(r.numerator) / r.denominator; }

CQvStringW UserComment(const CExifReader& exif) {
  const std::string_view bytes = exif.Bytes(EXIF_IFD_EXIF, EXIF_TAG_USER_COMMENT);
  if (bytes.size() <= 8) return {};
  const std::string_view code = bytes.substr(0, 8), text = bytes.substr(8);
  if (code.starts_with("UNICODE")) return TextOfUtf16(text, exif.Order() == EXIF_BYTE_ORDER_MOTOROLA);
  return code.starts_with("JIS") ? CQvStringW() : TextOf(text);
}

std::string ExposureText(const CExifReader& exif) {
  std::string exposure, aperture, sensitivity;
  if (const auto time = exif.Rational(EXIF_IFD_EXIF, EXIF_TAG_EXPOSURE_TIME); time && time->numerator != 0) {
    const double seconds = ToDouble(*time);
    exposure = seconds < 0.3 ? "1/" + NumberText(1.0 / seconds, 0) + " s" : NumberText(seconds, 2) + " s";
  }
  if (const auto f = exif.Rational(EXIF_IFD_EXIF, EXIF_TAG_FNUMBER); f && f->numerator != 0) {
    aperture = "f/" + NumberText(ToDouble(*f), 1);
  }
  if (const auto iso = exif.Short(EXIF_IFD_EXIF, EXIF_TAG_ISO_SPEED_RATINGS)) {
    sensitivity = "ISO " + std::to_string(*iso);
  }
  return Joined({exposure, aperture, sensitivity}, ", ");
}

CQvStringW OpticsText(const CExifReader& exif) {
  // libexif has no name for LensModel (EXIF 2.3).
  const CQvStringW lens = exif.Text(EXIF_IFD_EXIF, static_cast<ExifTag>(0xA434));
  const auto focal = exif.Rational(EXIF_IFD_EXIF, EXIF_TAG_FOCAL_LENGTH);
  if (!focal || focal->numerator == 0) return lens;
  return Joined(lens, L", ", TextOf(NumberText(ToDouble(*focal), 1) + " mm"));
}

// Degrees, minutes and seconds with the letter of the direction.
std::string GpsText(const CExifReader& exif, ExifTag coordinate, ExifTag reference) {
  double degrees = 0.0, unit = 1.0;
  for (unsigned int i = 0; i < 3; ++i, unit *= 60.0) {
    const auto part = exif.Rational(EXIF_IFD_GPS, coordinate, i);
    if (part) degrees += ToDouble(*part) / unit;
    if (!part && i == 0) return {};
  }
  const std::string_view letter = exif.Bytes(EXIF_IFD_GPS, reference);
  std::string text = NumberText(degrees, 6) + "\xC2\xB0";
  if (!letter.empty() && std::strchr("NSEW", letter[0]) != nullptr && letter[0] != '\0') {
    text += std::string(" ") + letter[0];
  }
  return text;
}

CQvStringW Position(const CExifReader& exif) {
  // Tags 1 to 4 of the GPS directory: libexif's names for them collide with those of interoperability.
  const std::string latitude = GpsText(exif, static_cast<ExifTag>(2), static_cast<ExifTag>(1));
  const std::string longitude = GpsText(exif, static_cast<ExifTag>(4), static_cast<ExifTag>(3));
  return latitude.empty() || longitude.empty() ? CQvStringW() : TextOf(latitude + ", " + longitude);
}

// "+02:00" and the like; nothing for anything else.
std::optional<int> OffsetMinutes(std::string_view text) {
  const auto digit = [&](std::size_t i) { return text[i] >= '0' && text[i] <= '9'; };
  if (text.size() < 6 || (text[0] != '+' && text[0] != '-') || text[3] != ':') return std::nullopt;
  if (!digit(1) || !digit(2) || !digit(4) || !digit(5)) return std::nullopt;
  const int minutes = ((text[1] - '0') * 10 + text[2] - '0') * 60 + (text[4] - '0') * 10 + text[5] - '0';
  return text[0] == '-' ? -minutes : minutes;
}

void ApplyDate(const CExifReader& exif, SImageMetadata& metadata) {
  struct SDateTags {
    ExifIfd ifd;
    ExifTag date;
    int offset;  // OffsetTime… (EXIF 2.31), which libexif does not name
  };
  constexpr SDateTags kTags[] = {{EXIF_IFD_EXIF, EXIF_TAG_DATE_TIME_ORIGINAL, 0x9011},
                                 {EXIF_IFD_EXIF, EXIF_TAG_DATE_TIME_DIGITIZED, 0x9012},
                                 {EXIF_IFD_0, EXIF_TAG_DATE_TIME, 0x9010}};
  for (const SDateTags& tags : kTags) {
    const std::string date(exif.Bytes(tags.ifd, tags.date));
    const std::optional<int> offset = OffsetMinutes(exif.Bytes(EXIF_IFD_EXIF, static_cast<ExifTag>(tags.offset)));
    CQvStringW text;
    double day = 0.0;
    if (!ParseExifDate(date.c_str(), offset, &text, &day)) continue;
    SetIfEmpty(metadata.text.date, text);
    if (metadata.acquisitionTime == 0.0) metadata.acquisitionTime = day;
    return;
  }
}

}  // namespace

EOrientation ExifOrientation(std::span<const std::uint8_t> exif) noexcept {
  try {
    const CExifReader reader(exif);
    if (!reader) return EOrientation::kTopLeft;
    return OrientationFromTag(reader.Short(EXIF_IFD_0, EXIF_TAG_ORIENTATION).value_or(1));
  } catch (const std::exception&) {
    return EOrientation::kTopLeft;
  }
}

void ApplyExif(std::span<const std::uint8_t> bytes, SImageMetadata& metadata) {
  const CExifReader exif(bytes);
  if (!exif) return;
  SQvImageTextInfo& text = metadata.text;
  SetIfEmpty(text.author, exif.Text(EXIF_IFD_0, EXIF_TAG_ARTIST));
  SetIfEmpty(text.description, exif.Text(EXIF_IFD_0, EXIF_TAG_IMAGE_DESCRIPTION));
  SetIfEmpty(text.description, UserComment(exif));
  SetIfEmpty(text.capturing, Joined(exif.Text(EXIF_IFD_0, EXIF_TAG_MAKE), L" ", exif.Text(EXIF_IFD_0, EXIF_TAG_MODEL)));
  SetIfEmpty(text.info1, exif.Text(EXIF_IFD_0, EXIF_TAG_SOFTWARE));
  SetIfEmpty(text.info2, TextOf(ExposureText(exif)));
  SetIfEmpty(text.optics, OpticsText(exif));
  SetIfEmpty(text.location, Position(exif));
  SetIfEmpty(text.imageID, exif.Text(EXIF_IFD_EXIF, EXIF_TAG_IMAGE_UNIQUE_ID));
  ApplyDate(exif, metadata);
}

bool ParseExifDate(const char* date, std::optional<int> offsetMinutes, CQvStringW* text, double* julianDay) {
  CQvDateTime::Tm tm;
  std::int32_t* const fields[] = {&tm.year, &tm.month, &tm.day, &tm.hour, &tm.minute, &tm.second};
  constexpr int kDigits[] = {4, 2, 2, 2, 2, 2};
  const char* p = date;
  for (int i = 0; i < 6; ++i) {
    while (*p == ' ') ++p;
    std::int32_t value = 0;
    for (int d = 0; d < kDigits[i]; ++d, ++p) {
      if (*p < '0' || *p > '9') return false;
      value = value * 10 + (*p - '0');
    }
    *fields[i] = value;
    if (i < 2 ? *p == ':' || *p == '-' || *p == '/' : i == 2 ? *p == ' ' || *p == 'T' : *p == ':') ++p;
  }
  CQvDateTime local, utc;
  if (!local.Set(tm, 0) || !(offsetMinutes ? utc.Set(tm, *offsetMinutes) : utc.SetLocal(tm))) return false;
  if (julianDay) *julianDay = utc.GetJulianDayNumber();
  if (text) {
    const auto two = [](int v) { return std::string(v < 10 ? "0" : "") + std::to_string(v); };
    *text = TextOf(std::to_string(tm.year) + "-" + two(tm.month) + "-" + two(tm.day) + " " + two(tm.hour) + ":" +
                   two(tm.minute) + ":" + two(tm.second));
  }
  return true;
}

}  // namespace imageformats
