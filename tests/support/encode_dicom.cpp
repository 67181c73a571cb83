#include "tests/support/encode_dicom.h"

#include <string_view>

namespace qvtest {

void CDicomWriter::Number(std::uint64_t value, std::size_t size) {
  for (std::size_t i = 0; i < size; ++i) {
    const std::size_t shift = 8 * (m_bigEndian ? size - 1 - i : i);
    m_bytes.push_back(static_cast<std::uint8_t>(value >> shift));
  }
}

void CDicomWriter::Head(std::uint32_t tag, const char* type, std::uint32_t length) {
  Number(tag >> 16, 2);
  Number(tag & 0xFFFF, 2);
  const std::string_view name(type);
  if (m_implicit || name.empty()) return Number(length, 4);
  m_bytes.insert(m_bytes.end(), name.begin(), name.end());
  const bool isLong = name == "OB" || name == "OW" || name == "SQ" || name == "UN";
  if (isLong) Number(0, 2);
  Number(length, isLong ? 4 : 2);
}

CDicomWriter& CDicomWriter::Bytes(std::uint32_t tag, const char* type, const SFileBytes& value) {
  Head(tag, type, static_cast<std::uint32_t>(value.size() + value.size() % 2));
  m_bytes.insert(m_bytes.end(), value.begin(), value.end());
  if (value.size() % 2 != 0) m_bytes.push_back(0);
  return *this;
}

CDicomWriter& CDicomWriter::Text(std::uint32_t tag, const char* type, const std::string& text) {
  return Bytes(tag, type, BytesOf(text.size() % 2 == 0 || std::string_view(type) == "UI" ? text : text + " "));
}

CDicomWriter& CDicomWriter::Short(std::uint32_t tag, std::uint32_t value) {
  Head(tag, "US", 2);
  Number(value, 2);
  return *this;
}

CDicomWriter& CDicomWriter::Long(std::uint32_t tag, std::uint32_t value) {
  Head(tag, "UL", 4);
  Number(value, 4);
  return *this;
}

CDicomWriter& CDicomWriter::Sequence(std::uint32_t tag, const std::vector<SFileBytes>& items) {
  Head(tag, "SQ", 0xFFFFFFFF);
  for (const SFileBytes& item : items) {
    Head(0xFFFEE000, "", static_cast<std::uint32_t>(item.size()));
    m_bytes.insert(m_bytes.end(), item.begin(), item.end());
  }
  Head(0xFFFEE0DD, "", 0);
  return *this;
}

CDicomWriter& CDicomWriter::Fragments(const std::vector<SFileBytes>& fragments,
                                      const std::vector<std::uint32_t>& offsets) {
  Head(0x7FE00010, "OB", 0xFFFFFFFF);
  Head(0xFFFEE000, "", static_cast<std::uint32_t>(4 * offsets.size()));
  for (const std::uint32_t offset : offsets) Number(offset, 4);
  for (const SFileBytes& fragment : fragments) Bytes(0xFFFEE000, "", fragment);
  Head(0xFFFEE0DD, "", 0);
  return *this;
}

SFileBytes CDicomWriter::File(const std::string& transferSyntax) const {
  CDicomWriter syntax, length;
  syntax.Text(0x00020010, "UI", transferSyntax);
  length.Long(0x00020000, static_cast<std::uint32_t>(syntax.Elements().size()));
  return Concatenated({SFileBytes(128), BytesOf("DICM"), length.Elements(), syntax.Elements(), m_bytes});
}

CDicomWriter DicomPicture(std::uint32_t width, std::uint32_t height, std::uint32_t samples, std::uint32_t bits,
                          const std::string& photometric, bool bigEndian, bool implicit) {
  CDicomWriter writer(bigEndian, implicit);
  writer.Short(0x00280002, samples).Text(0x00280004, "CS", photometric).Short(0x00280006, 0);
  writer.Short(0x00280010, height).Short(0x00280011, width).Short(0x00280100, bits <= 8 ? 8 : 16);
  writer.Short(0x00280101, bits).Short(0x00280102, bits - 1).Short(0x00280103, 0);
  return writer;
}

}  // namespace qvtest
