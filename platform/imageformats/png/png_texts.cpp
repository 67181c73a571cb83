#include "platform/imageformats/png/png_texts.h"

#include <cstdio>
#include <string>
#include <string_view>

#include "platform/imageformats/base/text.h"
#include "platform/imageformats/codec/exif.h"
#include "system/qvdatetime.h"

namespace imageformats {

namespace {

// RFC 1123, as the standard recommends for Creation Time: "Mon, 02 Jan 2006 15:04:05 +0000".
bool ParseRfcDate(const char* text, CQvDateTime* time) {
  constexpr std::string_view kMonths = "JanFebMarAprMayJunJulAugSepOctNovDec";
  char month[4] = {}, sign = '+';
  int zone = 0;
  CQvDateTime::Tm tm;
  const char* comma = std::char_traits<char>::find(text, std::char_traits<char>::length(text), ',');
  const int fields = std::sscanf(comma ? comma + 1 : text, "%2d %3s %4d %2d:%2d:%2d %c%4d", &tm.day, month, &tm.year,
                                 &tm.hour, &tm.minute, &tm.second, &sign, &zone);
  const std::size_t at = kMonths.find(month);
  if (fields < 6 || std::char_traits<char>::length(month) != 3 || at % 3 != 0) return false;
  tm.month = static_cast<std::int32_t>(at / 3) + 1;
  const bool hasZone = fields == 8 && (sign == '+' || sign == '-');
  const int minutes = hasZone ? zone / 100 * 60 + zone % 100 : 0;
  return time->Set(tm, sign == '-' ? -minutes : minutes);
}

void ApplyCreationTime(const CQvStringW& text, SImageMetadata& metadata) {
  SetIfEmpty(metadata.text.date, text);
  if (metadata.acquisitionTime != 0.0) return;
  const std::string narrow = CQvStringUtils::WtoUTF8(text).Str();
  CQvDateTime time;
  double day = 0.0;
  if (time.SetIso(narrow.c_str()) || ParseRfcDate(narrow.c_str(), &time)) {
    metadata.acquisitionTime = time.GetJulianDayNumber();
  } else if (ParseExifDate(narrow.c_str(), 0, nullptr, &day)) {
    metadata.acquisitionTime = day;
  }
}

std::string ModifiedText(const std::array<int, 6>& m) {
  char text[80];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", m[0], m[1], m[2], m[3], m[4], m[5]);
  return text;
}

}  // namespace

void ApplyPngTexts(const SPngTexts& texts, SImageMetadata& metadata) {
  SQvImageTextInfo& info = metadata.text;
  CQvStringW comment;
  for (const auto& [keyword, text] : texts.texts) {
    if (keyword == "Title") SetIfEmpty(info.imageID, text);
    if (keyword == "Author") SetIfEmpty(info.author, text);
    if (keyword == "Description") SetIfEmpty(info.description, text);
    if (keyword == "Comment") SetIfEmpty(comment, text);
    if (keyword == "Source") SetIfEmpty(info.capturing, text);
    if (keyword == "Software") SetIfEmpty(info.info1, text);
    if (keyword == "Copyright") SetIfEmpty(info.info2, text);
    if (keyword == "Creation Time") ApplyCreationTime(text, metadata);
  }
  SetIfEmpty(info.description, comment);
  if (texts.modified[0] != 0) SetIfEmpty(info.date, TextOf(ModifiedText(texts.modified)));
}

}  // namespace imageformats
