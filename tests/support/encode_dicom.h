#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/file_bytes.h"

namespace qvtest {

// Writes DICOM elements: explicit types, lengths known.
class CDicomWriter {
 public:
  explicit CDicomWriter(bool bigEndian = false, bool implicit = false) : m_bigEndian(bigEndian), m_implicit(implicit) {}

  CDicomWriter& Text(std::uint32_t tag, const char* type, const std::string& text);
  CDicomWriter& Short(std::uint32_t tag, std::uint32_t value);  // US
  CDicomWriter& Long(std::uint32_t tag, std::uint32_t value);   // UL
  CDicomWriter& Bytes(std::uint32_t tag, const char* type, const SFileBytes& value);
  // Items of elements.
  CDicomWriter& Sequence(std::uint32_t tag, const std::vector<SFileBytes>& items);
  // Pixel data in fragments, one for each frame, with a table of offsets or an empty one.
  CDicomWriter& Fragments(const std::vector<SFileBytes>& fragments, const std::vector<std::uint32_t>& offsets = {});

  const SFileBytes& Elements() const { return m_bytes; }
  // The file: preamble, meta information, the elements.
  SFileBytes File(const std::string& transferSyntax) const;

 private:
  void Head(std::uint32_t tag, const char* type, std::uint32_t length);
  void Number(std::uint64_t value, std::size_t size);

  bool m_bigEndian, m_implicit;
  SFileBytes m_bytes;
};

// The elements that describe pixels of `samples` samples, without the pixels themselves.
CDicomWriter DicomPicture(std::uint32_t width, std::uint32_t height, std::uint32_t samples, std::uint32_t bits,
                          const std::string& photometric, bool bigEndian = false, bool implicit = false);

}  // namespace qvtest
