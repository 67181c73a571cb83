#include "host/rescue/page_log.h"

#include <algorithm>
#include <array>
#include <bit>
#include <vector>

#include "host/rescue/big_endian.h"

namespace qvhost {
namespace {

constexpr std::size_t kLogHeaderSize = 32, kFrameHeaderSize = 24;
constexpr std::uint32_t kLogMagic = 0x377F0682;  // the last bit: sums are of big-endian numbers
constexpr std::array<std::uint8_t, 8> kJournalMagic = {0xD9, 0xD5, 0x05, 0xF9, 0x20, 0xA1, 0x63, 0xD7};
constexpr std::size_t kJournalHeaderSize = 28;
constexpr std::uint32_t kToTheEnd = 0xFFFFFFFF;

// The sums of a write-ahead log, which go on from frame to frame.
class CLogSum {
 public:
  explicit CLogSum(bool isBigEndian) : m_isBigEndian(isBigEndian) {}

  void Add(CBytes bytes) {
    for (std::size_t at = 0; at + 8 <= bytes.size(); at += 8) {
      m_first += Number(bytes, at) + m_second;
      m_second += Number(bytes, at + 4) + m_first;
    }
  }
  bool StandsAt(CBytes bytes, std::size_t at) const {
    return ReadNumber(bytes, at) == m_first && ReadNumber(bytes, at + 4) == m_second;
  }

 private:
  std::uint32_t Number(CBytes bytes, std::size_t at) const {
    const std::uint32_t number = ReadNumber(bytes, at);
    return m_isBigEndian ? number : __builtin_bswap32(number);
  }

  const bool m_isBigEndian;
  std::uint32_t m_first = 0, m_second = 0;
};

struct SJournalSegment {
  std::uint32_t records = 0, nonce = 0, pageCount = 0;
  std::int64_t sectorSize = 0;
  std::size_t pageSize = 0;
};

std::optional<SJournalSegment> ReadSegment(const CByteFile& file, std::int64_t at) {
  std::array<std::uint8_t, kJournalHeaderSize> header;
  if (!file.ReadWhole(at, header) || !std::equal(kJournalMagic.begin(), kJournalMagic.end(), header.begin())) {
    return std::nullopt;
  }
  SJournalSegment segment{ReadNumber(header, 8), ReadNumber(header, 12), ReadNumber(header, 16), ReadNumber(header, 20),
                          ReadNumber(header, 24)};
  const bool isSound = IsPageSize(segment.pageSize) && segment.sectorSize >= 32 && segment.sectorSize <= 65536 &&
                       std::has_single_bit(static_cast<std::uint64_t>(segment.sectorSize));
  return isSound ? std::optional(segment) : std::nullopt;
}

std::uint32_t JournalSum(CBytes page, std::uint32_t nonce) {
  std::uint32_t sum = nonce;
  for (std::size_t at = page.size() - 200; at > 0 && at < page.size(); at -= 200) sum += page[at];
  return sum;
}

// The records behind a segment's header. Returns the offset behind the last sound one, or -1 when one is not.
std::int64_t AddRecords(const CByteFile& file, std::int64_t at, const SJournalSegment& segment, SPageLog* log) {
  std::vector<std::uint8_t> record(4 + log->pageSize + 4);
  const auto size = static_cast<std::int64_t>(record.size());
  for (std::uint32_t i = 0; segment.records == kToTheEnd || i < segment.records; ++i, at += size) {
    if (!file.ReadWhole(at, record)) return -1;
    const CBytes page = CBytes(record).subspan(4, log->pageSize);
    const std::uint32_t number = ReadNumber(record, 0);
    if (number == 0 || ReadNumber(record, 4 + log->pageSize) != JournalSum(page, segment.nonce)) return -1;
    log->pages.try_emplace(number, at + 4);
  }
  return at;
}

}  // namespace

bool IsPageSize(std::uint64_t size) noexcept { return size >= 512 && size <= 65536 && std::has_single_bit(size); }

std::optional<SPageLog> ReadWriteAheadLog(const CByteFile& file) {
  std::array<std::uint8_t, kLogHeaderSize> header;
  if (!file.IsOpen() || !file.ReadWhole(0, header)) return std::nullopt;
  const std::uint32_t magic = ReadNumber(header, 0);
  SPageLog log;
  log.pageSize = ReadNumber(header, 8);
  CLogSum sum((magic & 1) != 0);
  sum.Add(CBytes(header).first(24));
  if ((magic & ~1u) != kLogMagic || !IsPageSize(log.pageSize) || !sum.StandsAt(header, 24)) return std::nullopt;

  // What is not committed yet.
  std::vector<std::pair<std::uint32_t, std::int64_t>> open;
  std::vector<std::uint8_t> frame(kFrameHeaderSize + log.pageSize);
  const CBytes salt = CBytes(header).subspan(16, 8);
  for (std::int64_t at = kLogHeaderSize; file.ReadWhole(at, frame); at += static_cast<std::int64_t>(frame.size())) {
    sum.Add(CBytes(frame).first(8));
    sum.Add(CBytes(frame).subspan(kFrameHeaderSize));
    const bool isOurs = std::equal(salt.begin(), salt.end(), frame.begin() + 8);
    const std::uint32_t number = ReadNumber(frame, 0), pageCount = ReadNumber(frame, 4);
    if (number == 0 || !isOurs || !sum.StandsAt(frame, 16)) break;
    open.emplace_back(number, at + static_cast<std::int64_t>(kFrameHeaderSize));
    if (pageCount == 0) continue;
    for (const auto& [page, offset] : open) log.pages[page] = offset;
    open.clear();
    log.pageCount = pageCount;
  }
  return log.pageCount > 0 ? std::optional(std::move(log)) : std::nullopt;
}

std::optional<SPageLog> ReadRollbackJournal(const CByteFile& file) {
  if (!file.IsOpen()) return std::nullopt;
  SPageLog log;
  for (std::int64_t at = 0;;) {
    const std::optional<SJournalSegment> segment = ReadSegment(file, at);
    if (!segment || (at > 0 && segment->pageSize != log.pageSize)) break;
    if (at == 0) {
      log.pageSize = segment->pageSize;
      log.pageCount = segment->pageCount;
    }
    at = AddRecords(file, at + segment->sectorSize, *segment, &log);
    if (at < 0) break;
    at = (at + segment->sectorSize - 1) / segment->sectorSize * segment->sectorSize;
  }
  return log.pages.empty() ? std::nullopt : std::optional(std::move(log));
}

}  // namespace qvhost
