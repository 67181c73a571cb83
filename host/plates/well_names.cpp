#include "host/plates/well_names.h"

#include <algorithm>
#include <optional>
#include <string_view>

namespace qvhost {
namespace {

constexpr std::uint32_t kMaxRows = 32, kMaxColumns = 48;
constexpr std::size_t kMaxDigits = 3;

bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }
char Upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

// Reads one name from a place on.
class CNameReader {
 public:
  CNameReader(std::string_view name, std::size_t at) : m_name(name), m_at(at) {}

  std::size_t At() const noexcept { return m_at; }
  bool IsAtEnd() const noexcept { return m_at >= m_name.size(); }
  char Next(std::size_t ahead = 0) const noexcept { return m_at + ahead < m_name.size() ? m_name[m_at + ahead] : '\0'; }
  bool Take(std::string_view text) {
    if (m_name.size() - m_at < text.size()) return false;
    const auto same = [](char a, char b) { return Upper(a) == Upper(b); };
    if (!std::equal(text.begin(), text.end(), m_name.begin() + static_cast<std::ptrdiff_t>(m_at), same)) return false;
    m_at += text.size();
    return true;
  }
  // A number from 1 to `most`, as its index from 0.
  std::optional<std::uint32_t> TakeNumber(std::uint32_t most) {
    std::uint32_t number = 0;
    std::size_t digits = 0;
    for (; IsDigit(Next()) && digits <= kMaxDigits; ++m_at, ++digits) {
      number = number * 10 + static_cast<std::uint32_t>(Next() - '0');
    }
    if (digits == 0 || digits > kMaxDigits || number < 1 || number > most) return std::nullopt;
    return number - 1;
  }
  // One letter, or two of which the first is A.
  std::optional<std::uint32_t> TakeRow() {
    if (!IsLetter(Next())) return std::nullopt;
    std::uint32_t row = static_cast<std::uint32_t>(Upper(Next()) - 'A');
    ++m_at;
    if (IsLetter(Next())) {
      row = (row + 1) * 26 + static_cast<std::uint32_t>(Upper(Next()) - 'A');
      ++m_at;
    }
    return row < kMaxRows ? std::optional(row) : std::nullopt;
  }

 private:
  std::string_view m_name;
  std::size_t m_at;
};

// The end of the word, or a field, site, time, z, channel or detector that follows at once.
bool EndsWell(const CNameReader& reader) {
  const char next = Upper(reader.Next());
  if (!IsLetter(next) && !IsDigit(next)) return true;
  constexpr std::string_view kFollowers = "FSTZCWDP";
  return kFollowers.find(next) != kFollowers.npos && IsDigit(reader.Next(1));
}

std::optional<SNamedWell> ReadLetterForm(CNameReader* reader) {
  SNamedWell well;
  well.isExplicit = reader->Take("well");
  if (well.isExplicit) reader->Take(" ") || reader->Take("_") || reader->Take("-");
  const std::optional<std::uint32_t> row = reader->TakeRow();
  if (!row) return std::nullopt;
  reader->Take(" - ");
  const std::optional<std::uint32_t> column = reader->TakeNumber(kMaxColumns);
  if (!column || !EndsWell(*reader)) return std::nullopt;
  well.row = *row;
  well.column = *column;
  return well;
}

std::optional<SNamedWell> ReadNumberForm(CNameReader* reader) {
  if (!reader->Take("r")) return std::nullopt;
  const std::optional<std::uint32_t> row = reader->TakeNumber(kMaxRows);
  if (!row || !reader->Take("c")) return std::nullopt;
  const std::optional<std::uint32_t> column = reader->TakeNumber(kMaxColumns);
  if (!column || !EndsWell(*reader)) return std::nullopt;
  return SNamedWell{*row, *column, true};
}

}  // namespace

std::vector<SNamedWell> FindWellNames(const std::string& name) {
  std::vector<SNamedWell> wells;
  for (std::size_t at = 0; at < name.size();) {
    const bool beginsWord = at == 0 || (!IsLetter(name[at - 1]) && !IsDigit(name[at - 1]));
    CNameReader numbers(name, at), letters(name, at);
    if (const auto well = beginsWord ? ReadNumberForm(&numbers) : std::nullopt) {
      wells.push_back(*well);
      at = numbers.At();
    } else if (const auto other = beginsWord ? ReadLetterForm(&letters) : std::nullopt) {
      wells.push_back(*other);
      at = letters.At();
    } else {
      ++at;
    }
  }
  return wells;
}

}  // namespace qvhost
