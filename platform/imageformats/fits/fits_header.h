#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/imageformats/arrays/array_bytes.h"

namespace imageformats {

// The cards of one header and data unit.
class CFitsCards {
 public:
  // One card of 80 characters.
  void Take(std::string_view card);

  bool Has(const std::string& keyword) const { return m_values.count(keyword) != 0; }
  // Without quotation marks and the blanks behind; empty when there is no such card.
  std::string Text(const std::string& keyword) const;
  std::optional<double> Number(const std::string& keyword) const;
  std::int64_t Integer(const std::string& keyword, std::int64_t otherwise) const;
  bool IsTrue(const std::string& keyword) const { return Text(keyword) == "T"; }
  // Of COMMENT cards, a line each.
  const std::string& Comments() const noexcept { return m_comments; }

 private:
  std::map<std::string, std::string> m_values;  // the first of each keyword
  std::string m_comments;
};

struct SFitsUnit {
  CFitsCards cards;
  std::uint64_t data = 0;       // offset of the data
  std::uint64_t dataBytes = 0;  // without padding
  std::vector<std::uint64_t> sizes;

  // An array of at least two axes, none of them empty.
  bool IsPicture() const;
  // A picture in compressed tiles, kept as a table.
  bool IsCompressedPicture() const { return cards.IsTrue("ZIMAGE"); }
};

bool IsFits(std::span<const std::uint8_t> head, std::uint64_t size);

// The unit that begins at `offset` of a file of `fileBytes` (0: not known). Nothing at the file's end. Throws
// CDamagedError.
std::optional<SFitsUnit> ReadFitsUnit(IArrayBytes& file, std::uint64_t fileBytes, std::uint64_t offset);
// Where the next one begins.
std::uint64_t BehindFitsUnit(const SFitsUnit& unit) noexcept;

}  // namespace imageformats
