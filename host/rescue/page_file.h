#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/rescue/big_endian.h"
#include "host/rescue/byte_file.h"
#include "host/rescue/page_log.h"

namespace qvhost {

// Of a database's texts, as its header counts them.
enum class ETextEncoding { Unknown, Utf8, Utf16Little, Utf16Big };

// The header of a database file; what cannot be known of a damaged one is 0.
struct SDatabaseHeader {
  bool isSound = false;
  bool isWriteAhead = false;
  ETextEncoding encoding = ETextEncoding::Unknown;
  std::size_t reserved = 0;
  std::uint32_t freeTrunk = 0, freeCount = 0;  // the list of free pages
  std::int32_t userVersion = 0;
};

// The pages of a database file that may be damaged, as they count: with its write-ahead log or the journal of a
// transaction that was cut off. Nothing is written, neither to it nor beside it.
class CPageFile {
 public:
  // Throws CHostError when it is no file that can be read.
  explicit CPageFile(const std::string& path);

  const SDatabaseHeader& Header() const noexcept { return m_header; }
  std::uint32_t PageCount() const noexcept { return m_pageCount; }
  const struct stat& Status() const noexcept { return m_file.Status(); }
  // Without what is reserved at its end. The bytes are valid until the next call. Empty for a page that is not there.
  CBytes Read(std::uint32_t number) const;
  // Throws CHostError when somebody has written to the files since they were opened.
  void RequireUnchanged() const;

 private:
  void ReadHeader();
  std::size_t ClaimedPageSize(CBytes header) const;

  const std::string m_path;
  const std::string m_stamp;
  CByteFile m_file;
  CByteFile m_logFile, m_journalFile;
  std::optional<SPageLog> m_log;
  const CByteFile* m_pagesOfLog = nullptr;  // where m_log's are
  SDatabaseHeader m_header;
  std::size_t m_pageSize = 0;
  std::uint32_t m_pageCount = 0;
  mutable std::vector<std::uint8_t> m_page;
};

// Which pages of a file something is true of.
class CPageSet {
 public:
  explicit CPageSet(std::uint32_t pageCount) : m_pages(std::size_t{pageCount} + 1) {}
  bool Has(std::uint32_t number) const { return number < m_pages.size() && m_pages[number]; }
  // False when it has it already, and for a page that is not there.
  bool Add(std::uint32_t number) {
    if (number == 0 || number >= m_pages.size() || m_pages[number]) return false;
    m_pages[number] = true;
    ++m_count;
    return true;
  }
  void Remove(std::uint32_t number) {
    if (!Has(number)) return;
    m_pages[number] = false;
    --m_count;
  }
  std::uint32_t Count() const noexcept { return m_count; }

 private:
  std::vector<bool> m_pages;
  std::uint32_t m_count = 0;
};

}  // namespace qvhost
