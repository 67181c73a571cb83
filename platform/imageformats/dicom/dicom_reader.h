#pragma once

#include <cstdint>
#include <vector>

#include "platform/imageformats/base/buffered_input.h"

namespace imageformats {

// Group and element of a DICOM tag in one number.
using CDicomTag = std::uint32_t;
inline constexpr std::uint32_t kDicomUndefinedLength = 0xFFFFFFFFu;
inline constexpr CDicomTag kDicomPixelData = 0x7FE00010;

struct SDicomEncoding {
  bool implicit = false;  // no types with the values
  bool bigEndian = false;
};

// Where an element stands among sequences.
struct SDicomPath {
  CDicomTag root = 0;      // the outermost sequence; 0 outside of all
  std::uint32_t item = 0;  // the item of that one, from 0
};

// Told what a data set holds, in its order.
class IDicomVisitor {
 public:
  virtual bool Wants(CDicomTag tag) const = 0;
  virtual void Take(const SDicomPath& path, CDicomTag tag, const std::vector<std::uint8_t>& value) = 0;

 protected:
  ~IDicomVisitor() = default;
};

// Reads the elements of a data set (PS3.5) from front to back.
class CDicomReader {
 public:
  // The input must outlive it.
  CDicomReader(const CInput& input, std::uint64_t offset, SDicomEncoding encoding) noexcept
      : m_input(input, offset), m_size(input.Size()), m_encoding(encoding) {}

  struct SElement {
    CDicomTag tag = 0;
    std::uint16_t type = 0;  // two letters; 0 where they are implicit
    std::uint32_t length = 0;
  };

  // Reads until the pixel data, whose head it returns. Throws CDamagedError when the file ends before that, or is
  // damaged.
  SElement ReadUntilPixels(IDicomVisitor& visitor);
  // The group of the file's meta information, in front of the data set.
  void ReadMeta(IDicomVisitor& visitor);

  // Of the next byte.
  std::uint64_t Position() const noexcept { return m_input.Position(); }
  std::uint64_t Number(std::size_t size);

 private:
  SElement NextElement();
  void Visit(const SElement& element, const SDicomPath& path, IDicomVisitor& visitor, int depth);
  void VisitSequence(const SElement& element, const SDicomPath& path, IDicomVisitor& visitor, int depth);
  void VisitItem(std::uint32_t length, const SDicomPath& path, IDicomVisitor& visitor, int depth);
  void Skip(std::uint32_t length);

  CBufferedInput m_input;
  std::uint64_t m_size;
  SDicomEncoding m_encoding;
};

}  // namespace imageformats
