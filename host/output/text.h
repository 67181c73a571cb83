#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "system/qvstring.h"

namespace qvhost {

// Texts for people.

// A text from a file or a database made safe to print: control characters and bytes that are no UTF-8 become \xNN, so
// that a hostile name cannot steer the terminal.
std::string Printable(std::string_view text);
std::string Printable(const CQvStringW& text);
// As Printable, but line breaks stay, those of two characters as one.
std::string PrintableLines(const CQvStringW& text);
// A file name as UTF-8: in one that is none, the bytes that are not become \xNN, and so do its backslashes.
std::string EscapeInvalidUtf8(const std::string& text);
// Takes every \xNN for its byte.
std::string UnescapeBytes(const std::string& text);
// Characters that a text takes on a terminal line.
std::size_t DisplayWidth(std::string_view text);

// "1,234,567"
std::string FormatCount(std::int64_t count);
// "1 picture", "1,234 pictures"; `many` is for a noun whose plural is another than with an s.
std::string FormatCountOf(std::int64_t count, const char* one, const char* many = nullptr);
// "12.3 MB", powers of 1000.
std::string FormatBytes(std::int64_t bytes);
// "1 h 02 min", "3 min 20 s", "12 s", "0.45 s"
std::string FormatDuration(double seconds);
// Shortest decimal form with up to 6 significant digits.
std::string FormatNumber(double value);

// A list for people shows so many of its entries, and how many more there are.
constexpr std::size_t kMaxListed = 10;
// "… and 1,234 more folders" of a list of `total` entries that have been shown so far as kMaxListed allows; empty when
// those were all.
std::string FormatOmitted(std::size_t total, const char* entries);

// Rows of cells in aligned columns, two blanks apart. `rightAligned` columns hold numbers.
class CTable {
 public:
  explicit CTable(std::vector<std::string> header, std::vector<bool> rightAligned = {});
  void Add(std::vector<std::string> row) { m_rows.push_back(std::move(row)); }
  bool IsEmpty() const noexcept { return m_rows.size() <= 1; }
  // To standard output, with the header.
  void Print() const;

 private:
  std::vector<std::vector<std::string>> m_rows;
  std::vector<bool> m_rightAligned;
};

}  // namespace qvhost
