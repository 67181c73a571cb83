#include "host/rescue/page_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <string_view>

#include "host/host_error.h"
#include "host/output/text.h"
#include "host/rescue/page_size.h"
#include "host/session/database_choice.h"
#include "host/session/database_stamp.h"

namespace qvhost {
namespace {

constexpr std::size_t kHeaderSize = 100;
constexpr std::string_view kMagic("SQLite format 3\0", 16);
// Pages have at least so many bytes that are in use.
constexpr std::size_t kLeastUsable = 480;

}  // namespace

CPageFile::CPageFile(const std::string& path)
    : m_path(RealDatabasePath(path)),
      m_stamp(StampOfDatabase(m_path)),
      m_file(m_path),
      m_logFile(m_path + "-wal"),
      m_journalFile(m_path + "-journal") {
  if (!m_file.IsOpen()) throw CHostError(fmt::format("{} is no file that can be read", Printable(path)));
  m_log = ReadWriteAheadLog(m_logFile);
  m_pagesOfLog = m_log ? &m_logFile : &m_journalFile;
  if (!m_log) m_log = ReadRollbackJournal(m_journalFile);
  ReadHeader();
}

std::size_t CPageFile::ClaimedPageSize(CBytes header) const {
  constexpr std::size_t kLargest = 65536;  // does not fit, and stands as 1
  const auto claimed = static_cast<std::size_t>(ReadBigEndian(header.subspan(16, 2)));
  return claimed == 1 ? kLargest : claimed;
}

void CPageFile::ReadHeader() {
  std::vector<std::uint8_t> header(kHeaderSize);
  m_file.Read(0, header);
  if (m_log) {
    const auto first = m_log->pages.find(1);
    if (first != m_log->pages.end()) m_pagesOfLog->Read(first->second, header);
  }
  m_header.isSound = std::equal(kMagic.begin(), kMagic.end(), header.begin()) && IsPageSize(ClaimedPageSize(header)) &&
                     ClaimedPageSize(header) - header[20] >= kLeastUsable;
  if (m_header.isSound) {
    m_header.isWriteAhead = header[18] == 2;
    m_header.reserved = header[20];
    m_header.freeTrunk = ReadNumber(header, 32);
    m_header.freeCount = ReadNumber(header, 36);
    const std::uint32_t encoding = ReadNumber(header, 56);
    if (encoding <= static_cast<std::uint32_t>(ETextEncoding::Utf16Big)) {
      m_header.encoding = static_cast<ETextEncoding>(encoding);
    }
    m_header.userVersion = static_cast<std::int32_t>(ReadNumber(header, 60));
  }
  m_pageSize = m_log ? m_log->pageSize : FindPageSize(m_file, ClaimedPageSize(header), m_header.reserved);
  const auto size = static_cast<std::int64_t>(m_pageSize);
  const std::int64_t pages = m_log ? m_log->pageCount : (m_file.Size() + size - 1) / size;
  m_pageCount =
      static_cast<std::uint32_t>(std::min<std::int64_t>(pages, std::numeric_limits<std::uint32_t>::max() - 1));
}

CBytes CPageFile::Read(std::uint32_t number) const {
  if (number == 0 || number > m_pageCount) return {};
  m_page.assign(m_pageSize, 0);
  const auto logged = m_log ? m_log->pages.find(number) : decltype(m_log->pages.find(number)){};
  const bool isLogged = m_log && logged != m_log->pages.end();
  const std::int64_t offset =
      isLogged ? logged->second : static_cast<std::int64_t>(m_pageSize) * (std::int64_t{number} - 1);
  // Of a page that is cut off what is there counts.
  const std::size_t got = (isLogged ? *m_pagesOfLog : m_file).Read(offset, m_page);
  return got == 0 ? CBytes() : CBytes(m_page).first(m_pageSize - m_header.reserved);
}

void CPageFile::RequireUnchanged() const {
  if (m_stamp == StampOfDatabase(m_path)) return;
  throw CHostError(fmt::format("{} was written to meanwhile; run again when nobody uses it", Printable(m_path)));
}

}  // namespace qvhost
