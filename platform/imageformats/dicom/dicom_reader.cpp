#include "platform/imageformats/dicom/dicom_reader.h"

#include <algorithm>
#include <iterator>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/base/integers.h"

namespace imageformats {

namespace {

constexpr CDicomTag kDicomItem = 0xFFFEE000, kDicomItemEnd = 0xFFFEE00D, kDicomSequenceEnd = 0xFFFEE0DD;
constexpr int kMaxDicomDepth = 16;
constexpr std::uint32_t kMaxDicomValue = 4u << 20;

constexpr std::uint16_t DicomType(const char (&name)[3]) noexcept {
  return static_cast<std::uint16_t>(static_cast<unsigned char>(name[0]) << 8 | static_cast<unsigned char>(name[1]));
}

// Types whose length has four bytes (PS3.5, 7.1.2).
bool HasLongLength(std::uint16_t type) {
  constexpr std::uint16_t kLong[] = {DicomType("OB"), DicomType("OD"), DicomType("OF"), DicomType("OL"),
                                     DicomType("OV"), DicomType("OW"), DicomType("SQ"), DicomType("SV"),
                                     DicomType("UC"), DicomType("UN"), DicomType("UR"), DicomType("UT"),
                                     DicomType("UV")};
  return std::find(std::begin(kLong), std::end(kLong), type) != std::end(kLong);
}

// Sequences that are looked into, for files that do not name types.
bool IsKnownSequence(CDicomTag tag) {
  constexpr CDicomTag kSequences[] = {0x52009229, 0x52009230, 0x00480105, 0x00289110,
                                      0x0048021A, 0x00289145, 0x00289132};
  return std::find(std::begin(kSequences), std::end(kSequences), tag) != std::end(kSequences);
}

}  // namespace

std::uint64_t CDicomReader::Number(std::size_t size) {
  std::uint8_t bytes[8];
  Require(m_input.Read(bytes, size) == size, "The file is truncated: it ends within its description");
  return IntegerAt(bytes, size, m_encoding.bigEndian);
}

CDicomReader::SElement CDicomReader::NextElement() {
  SElement element;
  element.tag = static_cast<CDicomTag>(Number(2) << 16);
  element.tag |= static_cast<CDicomTag>(Number(2));
  if (m_encoding.implicit || element.tag >> 16 == kDicomItem >> 16) {
    element.length = static_cast<std::uint32_t>(Number(4));
    return element;
  }
  std::uint8_t type[2];
  Require(m_input.Read(type, 2) == 2, "The file is truncated: it ends within its description");
  element.type = static_cast<std::uint16_t>(type[0] << 8 | type[1]);
  if (HasLongLength(element.type)) {
    Number(2);
    element.length = static_cast<std::uint32_t>(Number(4));
  } else {
    element.length = static_cast<std::uint32_t>(Number(2));
  }
  return element;
}

void CDicomReader::Skip(std::uint32_t length) {
  Require(length != kDicomUndefinedLength && length <= m_size - std::min(m_size, Position()),
          "The file is truncated or damaged: a value is not complete");
  m_input.Skip(length);
}

void CDicomReader::Visit(const SElement& element, const SDicomPath& path, IDicomVisitor& visitor, int depth) {
  const bool isOpen = element.length == kDicomUndefinedLength;
  if (element.type == DicomType("SQ") || isOpen || (element.type == 0 && IsKnownSequence(element.tag))) {
    // Of an unknown type, what is inside has no types either (PS3.5, 6.2.2).
    const SDicomEncoding outer = m_encoding;
    if (element.type == DicomType("UN")) m_encoding = {true, false};
    VisitSequence(element, path, visitor, depth + 1);
    m_encoding = outer;
  } else if (visitor.Wants(element.tag) && element.length <= kMaxDicomValue) {
    std::vector<std::uint8_t> value(std::min<std::uint64_t>(element.length, m_size));
    Require(m_input.Read(value.data(), value.size()) == element.length,
            "The file is truncated: a value is not complete");
    visitor.Take(path, element.tag, value);
  } else {
    Skip(element.length);
  }
}

void CDicomReader::VisitSequence(const SElement& element, const SDicomPath& path, IDicomVisitor& visitor, int depth) {
  Require(depth < kMaxDicomDepth, "The file's sequences are nested too deeply");
  const bool isOpen = element.length == kDicomUndefinedLength;
  const std::uint64_t end = Position() + element.length;
  SDicomPath inner = path.root == 0 ? SDicomPath{element.tag, 0} : path;
  while (isOpen || Position() < end) {
    const SElement item = NextElement();
    if (item.tag == kDicomSequenceEnd) return;
    Require(item.tag == kDicomItem, "A sequence of the file is damaged");
    VisitItem(item.length, inner, visitor, depth);
    if (path.root == 0) ++inner.item;
  }
}

void CDicomReader::VisitItem(std::uint32_t length, const SDicomPath& path, IDicomVisitor& visitor, int depth) {
  const std::uint64_t end = Position() + length;
  while (length == kDicomUndefinedLength || Position() < end) {
    const SElement element = NextElement();
    if (element.tag == kDicomItemEnd) return;
    Visit(element, path, visitor, depth);
  }
}

void CDicomReader::ReadMeta(IDicomVisitor& visitor) {
  // Its first element is its length.
  const SElement first = NextElement();
  Require(first.tag == 0x00020000 && first.length == 4, "The DICOM file's meta information is damaged");
  const std::uint64_t length = Number(4), end = Position() + length;
  while (Position() < end) Visit(NextElement(), {}, visitor, 0);
}

CDicomReader::SElement CDicomReader::ReadUntilPixels(IDicomVisitor& visitor) {
  for (;;) {
    const SElement element = NextElement();
    if (element.tag == kDicomPixelData) return element;
    Visit(element, {}, visitor, 0);
  }
}

}  // namespace imageformats
