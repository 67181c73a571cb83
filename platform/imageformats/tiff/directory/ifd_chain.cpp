#include "platform/imageformats/tiff/directory/ifd_chain.h"

#include <tiff.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <optional>
#include <unordered_set>

#include "platform/imageformats/base/format_error.h"

namespace imageformats::tiff {
namespace {

// Most directories fit: one read each.
constexpr std::size_t kFirstReadBytes = 512;

// Layout of TIFF 6.0, section 2, and of the BigTIFF design: entry counts of 2 (8) bytes, entries of 12 (20) bytes,
// pointers of 4 (8) bytes.
class CIfdReader {
 public:
  explicit CIfdReader(const CInput& input) : m_input(input) {
    const auto head = input.Head();
    if (head.size() < 8) throw CDamagedError("Not a TIFF file: too short");
    const bool bigEndian = head[0] == 'M';
    m_swap = bigEndian != (std::endian::native == std::endian::big);
    const auto version = Get<std::uint16_t>(head.data() + 2);
    m_big = version == TIFF_VERSION_BIG;
    if ((head[0] != 'I' && head[0] != 'M') || head[0] != head[1] || (!m_big && version != TIFF_VERSION_CLASSIC) ||
        (m_big && head.size() < 16)) {
      throw CDamagedError("Not a TIFF file: no TIFF header");
    }
    m_first = m_big ? Get<std::uint64_t>(head.data() + 8) : Get<std::uint32_t>(head.data() + 4);
  }

  std::uint64_t First() const noexcept { return m_first; }
  std::uint64_t BytesRead() const noexcept { return m_bytesRead; }

  // Reads the directory at facts->offset and the pointer behind it. False when it cannot be read.
  bool Read(SIfdSummary* facts, std::uint64_t* next);

 private:
  template <class T>
  T Get(const std::uint8_t* bytes) const noexcept {
    T value;
    std::memcpy(&value, bytes, sizeof value);
    if (!m_swap) return value;
    if constexpr (sizeof(T) == 2) return static_cast<T>(__builtin_bswap16(value));
    if constexpr (sizeof(T) == 4) return static_cast<T>(__builtin_bswap32(value));
    if constexpr (sizeof(T) == 8) return static_cast<T>(__builtin_bswap64(value));
  }
  void ParseEntry(const std::uint8_t* entry, SIfdSummary* facts) const noexcept;
  std::optional<std::uint32_t> FirstValue(const std::uint8_t* entry) const noexcept;

  const CInput& m_input;
  bool m_swap = false, m_big = false;
  std::uint64_t m_first = 0;
  std::uint64_t m_bytesRead = 0;
  std::vector<std::uint8_t> m_bytes;
};

// The first value of a SHORT, LONG or LONG8 entry.
std::optional<std::uint32_t> CIfdReader::FirstValue(const std::uint8_t* entry) const noexcept {
  const std::uint16_t type = Get<std::uint16_t>(entry + 2);
  const std::uint64_t count = m_big ? Get<std::uint64_t>(entry + 4) : Get<std::uint32_t>(entry + 4);
  const std::uint8_t* value = entry + (m_big ? 12 : 8);
  const std::size_t room = m_big ? 8 : 4;
  const std::size_t size = type == TIFF_SHORT ? 2 : type == TIFF_LONG ? 4 : type == TIFF_LONG8 ? 8 : 0;
  if (size == 0 || count == 0) return std::nullopt;
  std::uint8_t elsewhere[8];
  if (size > room || count > room / size) {
    const std::uint64_t at = m_big ? Get<std::uint64_t>(value) : Get<std::uint32_t>(value);
    if (m_input.ReadAt(at, elsewhere, size) != size) return std::nullopt;
    value = elsewhere;
  }
  if (size == 2) return Get<std::uint16_t>(value);
  if (size == 4) return Get<std::uint32_t>(value);
  const auto wide = Get<std::uint64_t>(value);
  return wide > 0xFFFFFFFFu ? std::nullopt : std::optional(static_cast<std::uint32_t>(wide));
}

void CIfdReader::ParseEntry(const std::uint8_t* entry, SIfdSummary* facts) const noexcept {
  std::uint32_t* target = nullptr;
  switch (Get<std::uint16_t>(entry)) {
    case TIFFTAG_SUBFILETYPE:
      target = &facts->subfileType;
      break;
    case TIFFTAG_IMAGEWIDTH:
      target = &facts->width;
      break;
    case TIFFTAG_IMAGELENGTH:
      target = &facts->height;
      break;
    case TIFFTAG_BITSPERSAMPLE:
      target = &facts->bits;
      break;
    case TIFFTAG_SAMPLESPERPIXEL:
      target = &facts->samples;
      break;
    case TIFFTAG_PHOTOMETRIC:
      target = &facts->photometric;
      break;
    default:
      return;
  }
  *target = FirstValue(entry).value_or(*target);
}

bool CIfdReader::Read(SIfdSummary* facts, std::uint64_t* next) {
  const std::size_t countSize = m_big ? 8 : 2, entrySize = m_big ? 20 : 12, pointerSize = m_big ? 8 : 4;
  m_bytes.resize(kFirstReadBytes);
  std::size_t got = m_input.ReadAt(facts->offset, m_bytes.data(), m_bytes.size());
  if (got < countSize) return false;
  const std::uint64_t count =
      m_big ? Get<std::uint64_t>(m_bytes.data()) : std::uint64_t{Get<std::uint16_t>(m_bytes.data())};
  // As many entries as there are tags; libtiff has the same limit.
  if (count == 0 || count > 65535) return false;
  const std::size_t entriesEnd = countSize + count * entrySize;
  if (entriesEnd + pointerSize > kFirstReadBytes) {
    m_bytes.resize(entriesEnd + pointerSize);
    got = m_input.ReadAt(facts->offset, m_bytes.data(), m_bytes.size());
  }
  m_bytesRead += std::min(got, entriesEnd);
  if (got < entriesEnd) return false;
  for (std::size_t at = countSize; at < entriesEnd; at += entrySize) ParseEntry(m_bytes.data() + at, facts);
  const std::uint8_t* pointer = m_bytes.data() + entriesEnd;
  const bool ends = got < entriesEnd + pointerSize;
  *next = ends ? 0 : m_big ? Get<std::uint64_t>(pointer) : Get<std::uint32_t>(pointer);
  return true;
}

// A loop, a pointer out of the file or an unreadable directory ends the walk. Directories of an honest file do not
// overlap, so all of them together are no larger than the file.
std::vector<SIfdSummary> ReadChain(CIfdReader& reader, const CInput& input, std::uint64_t offset, std::size_t limit) {
  std::vector<SIfdSummary> chain;
  std::unordered_set<std::uint64_t> seen;
  while (offset != 0 && offset < input.Size() && chain.size() < limit && reader.BytesRead() <= input.Size() &&
         seen.insert(offset).second) {
    SIfdSummary facts;
    facts.offset = offset;
    if (!reader.Read(&facts, &offset)) break;
    chain.push_back(facts);
  }
  return chain;
}

}  // namespace

std::vector<SIfdSummary> ReadIfdChain(const CInput& input) {
  CIfdReader reader(input);
  std::vector<SIfdSummary> chain = ReadChain(reader, input, reader.First(), kMaxDirectories);
  if (chain.empty()) throw CDamagedError("The TIFF file has no readable directory");
  return chain;
}

std::vector<SIfdSummary> ReadIfdChainFrom(const CInput& input, std::uint64_t offset, std::size_t limit) {
  CIfdReader reader(input);
  return ReadChain(reader, input, offset, limit);
}

}  // namespace imageformats::tiff
