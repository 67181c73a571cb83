#pragma once

#include <cstdint>
#include <optional>

#include "platform/imageformats/base/integers.h"

namespace imageformats {

// The entries of a TIFF file's directories, read without libtiff: it is asked of every file, slide or not.
class CTiffEntries {
 public:
  // None when the file has no TIFF header.
  static std::optional<CTiffEntries> Of(const CInput& input) noexcept;

  std::uint64_t FirstDirectory() const noexcept { return m_isBig ? Read(8, 8) : Read(4, 4); }
  // Calls take(tag, type, count) for the entries of a directory until it returns false.
  template <class Visitor>
  void ForEach(std::uint64_t directory, Visitor&& visit) const {
    const std::uint64_t entries = Read(directory, m_isBig ? 8 : 2), size = m_isBig ? 20 : 12;
    std::uint64_t at = directory + (m_isBig ? 8 : 2);
    for (std::uint64_t i = 0; i < entries && i < kMaxEntries; ++i, at += size) {
      if (!visit(static_cast<std::uint16_t>(Read(at, 2)), static_cast<std::uint16_t>(Read(at + 2, 2)),
                 Read(at + 4, m_isBig ? 8 : 4))) {
        return;
      }
    }
  }

 private:
  static constexpr std::uint64_t kMaxEntries = 4096;

  CTiffEntries(const CInput& input, bool bigEndian) noexcept : m_input(input), m_bigEndian(bigEndian) {}
  std::uint64_t Read(std::uint64_t offset, std::size_t bytes) const noexcept {
    return ReadInteger(m_input, offset, bytes, m_bigEndian);
  }

  const CInput& m_input;
  bool m_bigEndian = false, m_isBig = false;
};

}  // namespace imageformats
