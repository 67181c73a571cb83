#include "tools/samples/exif_block.h"

#include <cmath>
#include <cstdint>
#include <map>

namespace {

enum EType : std::uint16_t { kAscii = 2, kShort = 3, kLong = 4, kRational = 5, kUndefined = 7 };

void Append16(CBytes* bytes, std::uint32_t value) {
  bytes->push_back(static_cast<std::uint8_t>(value));
  bytes->push_back(static_cast<std::uint8_t>(value >> 8));
}

void Append32(CBytes* bytes, std::uint32_t value) {
  Append16(bytes, value & 0xFFFF);
  Append16(bytes, value >> 16);
}

// A directory under construction; entries are kept in the order of their tags, as the format wants them.
class CDirectory {
 public:
  void Text(std::uint16_t tag, const std::string& text) {
    if (text.empty()) return;
    CBytes value(text.begin(), text.end());
    value.push_back(0);
    const auto count = static_cast<std::uint32_t>(value.size());
    m_entries[tag] = {kAscii, count, value};
  }
  void Short(std::uint16_t tag, int value) {
    CBytes bytes;
    Append16(&bytes, static_cast<std::uint32_t>(value));
    m_entries[tag] = {kShort, 1, bytes};
  }
  void Long(std::uint16_t tag, std::uint32_t value) {
    CBytes bytes;
    Append32(&bytes, value);
    m_entries[tag] = {kLong, 1, bytes};
  }
  void Rational(std::uint16_t tag, std::uint32_t numerator, std::uint32_t denominator) {
    CBytes bytes;
    Append32(&bytes, numerator);
    Append32(&bytes, denominator);
    m_entries[tag] = {kRational, 1, bytes};
  }
  void Undefined(std::uint16_t tag, const std::string& value) {
    m_entries[tag] = {kUndefined, static_cast<std::uint32_t>(value.size()), CBytes(value.begin(), value.end())};
  }

  std::uint32_t Size() const {
    std::uint32_t size = 2 + 12 * static_cast<std::uint32_t>(m_entries.size()) + 4;
    for (const auto& [tag, entry] : m_entries) size += Outside(entry);
    return size;
  }
  // Appends the directory, which starts at `offset`; values over 4 bytes follow the entries.
  void Write(CBytes* bytes, std::uint32_t offset, std::uint32_t next) const {
    std::uint32_t outside = offset + 2 + 12 * static_cast<std::uint32_t>(m_entries.size()) + 4;
    CBytes tail;
    Append16(bytes, static_cast<std::uint32_t>(m_entries.size()));
    for (const auto& [tag, entry] : m_entries) {
      Append16(bytes, tag);
      Append16(bytes, entry.type);
      Append32(bytes, entry.count);
      CBytes value = entry.value;
      value.resize(Outside(entry) != 0 ? Outside(entry) : 4);
      if (Outside(entry) != 0) {
        Append32(bytes, outside);
        outside += Outside(entry);
        tail.insert(tail.end(), value.begin(), value.end());
      } else {
        bytes->insert(bytes->end(), value.begin(), value.end());
      }
    }
    Append32(bytes, next);
    bytes->insert(bytes->end(), tail.begin(), tail.end());
  }

 private:
  struct SEntry {
    std::uint16_t type;
    std::uint32_t count;
    CBytes value;
  };
  // Bytes behind the entries, even.
  static std::uint32_t Outside(const SEntry& entry) {
    return entry.value.size() <= 4 ? 0 : static_cast<std::uint32_t>((entry.value.size() + 1) / 2 * 2);
  }

  std::map<std::uint16_t, SEntry> m_entries;
};

CDirectory MakeMain(const SExif& exif) {
  CDirectory main;
  main.Text(0x010E, exif.description);
  main.Text(0x010F, exif.make);
  main.Text(0x0110, exif.model);
  main.Short(0x0112, exif.orientation);
  main.Rational(0x011A, 72, 1);
  main.Rational(0x011B, 72, 1);
  main.Short(0x0128, 2);
  main.Text(0x0132, exif.dateTime);
  main.Text(0x013B, exif.artist);
  main.Long(0x8769, 0);
  return main;
}

CDirectory MakeDetails(const SExif& exif) {
  CDirectory details;
  if (exif.exposureSeconds > 0) {
    details.Rational(0x829A, 1, static_cast<std::uint32_t>(std::lround(1 / exif.exposureSeconds)));
  }
  if (exif.aperture > 0) details.Rational(0x829D, static_cast<std::uint32_t>(std::lround(exif.aperture * 10)), 10);
  if (exif.isoSpeed > 0) details.Short(0x8827, exif.isoSpeed);
  details.Undefined(0x9000, "0230");
  details.Text(0x9003, exif.dateTime);
  details.Text(0x9004, exif.dateTime);
  if (exif.focalLength > 0)
    details.Rational(0x920A, static_cast<std::uint32_t>(std::lround(exif.focalLength * 10)), 10);
  return details;
}

}  // namespace

CBytes MakeExif(const SExif& exif) {
  constexpr std::uint32_t kMainOffset = 8;
  CDirectory main = MakeMain(exif), thumbnail;
  const CDirectory details = MakeDetails(exif);
  const std::uint32_t detailsOffset = kMainOffset + main.Size();
  const std::uint32_t thumbnailOffset = detailsOffset + details.Size();
  main.Long(0x8769, detailsOffset);
  thumbnail.Short(0x0103, 6);
  thumbnail.Long(0x0201, 0);
  thumbnail.Long(0x0202, static_cast<std::uint32_t>(exif.thumbnail.size()));
  thumbnail.Long(0x0201, thumbnailOffset + thumbnail.Size());

  CBytes bytes = {'I', 'I', 42, 0};
  Append32(&bytes, kMainOffset);
  main.Write(&bytes, kMainOffset, exif.thumbnail.empty() ? 0 : thumbnailOffset);
  details.Write(&bytes, detailsOffset, 0);
  if (!exif.thumbnail.empty()) {
    thumbnail.Write(&bytes, thumbnailOffset, 0);
    bytes.insert(bytes.end(), exif.thumbnail.begin(), exif.thumbnail.end());
  }
  static constexpr std::uint8_t kMarker[] = {'E', 'x', 'i', 'f', 0, 0};
  bytes.insert(bytes.begin(), std::begin(kMarker), std::end(kMarker));
  return bytes;
}
