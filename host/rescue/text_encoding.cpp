#include "host/rescue/text_encoding.h"

#include <algorithm>
#include <array>

#include "host/rescue/payload_reader.h"
#include "host/rescue/tree_page.h"
#include "host/session/stored_name.h"

namespace qvhost {
namespace {

// So many texts tell.
constexpr int kEnoughTexts = 500;

// Names of files have characters of ASCII, whose upper byte in UTF-16 is 0.
ETextEncoding GuessEncoding(std::string_view text) {
  std::array<int, 2> zeros = {};
  for (std::size_t i = 0; i < text.size(); ++i) zeros[i % 2] += text[i] == '\0';
  if (zeros[0] == zeros[1]) return ETextEncoding::Utf8;
  return zeros[0] < zeros[1] ? ETextEncoding::Utf16Little : ETextEncoding::Utf16Big;
}

// Counts what the texts look like that stand in the rows, or keys, of a page.
class CEncodingCount {
 public:
  explicit CEncodingCount(const CPageFile& file) : m_file(file), m_used(file.PageCount()), m_payloads(file, m_used) {}

  bool IsEnough() const noexcept { return m_texts >= kEnoughTexts; }
  ETextEncoding Most() const {
    return static_cast<ETextEncoding>(std::max_element(m_counts.begin(), m_counts.end()) - m_counts.begin());
  }

  void AddPage(std::uint32_t number) {
    const CBytes read = m_file.Read(number);
    m_page.assign(read.begin(), read.end());
    const CTreePage page(m_page, number == 1);
    if (page.Kind() != EPageKind::TableLeaf && page.Kind() != EPageKind::IndexLeaf) return;
    for (std::size_t i = 0; i < page.CellCount() && !IsEnough(); ++i) {
      const auto cell = page.Cell(i);
      if (!cell || !m_payloads.Read(*cell, &m_payload)) continue;
      m_payloads.GiveBack();
      if (DecodeRecord(m_payload, &m_record)) AddTexts();
    }
  }

 private:
  void AddTexts() {
    for (const SRecordValue& value : m_record) {
      if (value.kind != EValueKind::Text || value.bytes.size() < 2) continue;
      ++m_counts[static_cast<std::size_t>(GuessEncoding(value.bytes))];
      ++m_texts;
    }
  }

  const CPageFile& m_file;
  CPageSet m_used;
  CPayloadReader m_payloads;
  std::vector<std::uint8_t> m_page, m_payload;
  CRecord m_record;
  std::array<int, 4> m_counts = {0, 1};  // of all encodings; UTF-8 is the likely one
  int m_texts = 0;
};

std::u16string UnitsOf(std::string_view bytes, bool isLittle) {
  std::u16string units(bytes.size() / 2, u'\0');
  for (std::size_t i = 0; i < units.size(); ++i) {
    const auto first = static_cast<unsigned char>(bytes[2 * i]), second = static_cast<unsigned char>(bytes[2 * i + 1]);
    units[i] = static_cast<char16_t>(isLittle ? second << 8 | first : first << 8 | second);
  }
  return units;
}

}  // namespace

ETextEncoding FindTextEncoding(const CPageFile& file) {
  if (file.Header().encoding != ETextEncoding::Unknown) return file.Header().encoding;
  CEncodingCount count(file);
  for (std::uint32_t number = 1; number <= file.PageCount() && !count.IsEnough(); ++number) count.AddPage(number);
  return count.Most();
}

void CTextReader::ToUtf8(CRecord* record) {
  if (m_encoding == ETextEncoding::Utf8) return;
  m_texts.clear();
  for (SRecordValue& value : *record) {
    if (value.kind != EValueKind::Text) continue;
    bool isWhole = true;
    const std::u16string units = UnitsOf(value.bytes, m_encoding == ETextEncoding::Utf16Little);
    const std::string& text = m_texts.emplace_back(PlainUtf8(units, &isWhole));
    value.isWhole = isWhole && value.bytes.size() % 2 == 0;
    value.bytes = text;
  }
}

}  // namespace qvhost
