#include "host/find/fact_block.h"

#include <sqlite3.h>

#include <algorithm>
#include <bit>
#include <cstring>

#include "host/session/sqlite.h"

namespace qvhost {
namespace {

// A packed block is a head for each fact, then each fact's column: for each picture how much more than `base` its value
// is, and one more, in `width` bytes, the lowest first; 0 is unknown. At the end are as many bytes as are read at once.
static_assert(std::endian::native == std::endian::little);
constexpr std::size_t kBaseBytes = 8, kHeadBytes = kBaseBytes + 1;
constexpr std::size_t kAllHeads = kHeadBytes * kFactCount;

struct SColumnHead {
  std::uint64_t base = 0;
  std::size_t width = 0;  // bytes, at most 8
};

std::uint64_t LoadWhole(const char* bytes) {
  std::uint64_t value = 0;
  std::memcpy(&value, bytes, sizeof value);
  return value;
}

SColumnHead ReadHead(std::string_view packed, std::size_t fact) {
  const char* const head = packed.data() + fact * kHeadBytes;
  return {LoadWhole(head), static_cast<unsigned char>(head[kBaseBytes])};
}

// Where the column of a fact begins. All heads are looked at, since a block that is damaged must not be read behind.
std::size_t FindColumn(std::string_view packed, std::size_t wanted) {
  std::size_t end = kAllHeads, begin = 0;
  bool isBlock = packed.size() >= kAllHeads;
  for (std::size_t fact = 0; isBlock && fact < kFactCount; ++fact) {
    const std::size_t width = ReadHead(packed, fact).width;
    isBlock = width <= sizeof(std::uint64_t);
    if (fact == wanted) begin = end;
    end += width * kPicturesOfBlock;
  }
  if (!isBlock || packed.size() != end + sizeof(std::uint64_t)) {
    throw SQLite::Exception("facts are damaged", SQLITE_CORRUPT);
  }
  return begin;
}

std::uint64_t MaskOf(std::size_t width) { return width == 0 ? 0 : ~std::uint64_t{0} >> (64 - 8 * width); }

SColumnHead ColumnHeadOf(const CFactColumn& column) {
  std::int64_t least = std::numeric_limits<std::int64_t>::max(), most = kUnknownFact;
  for (const std::int64_t value : column) {
    if (value != kUnknownFact) least = std::min(least, value);
    most = std::max(most, value);
  }
  if (most == kUnknownFact) return {};
  SColumnHead head = {static_cast<std::uint64_t>(least), 1};
  const std::uint64_t highest = static_cast<std::uint64_t>(most) - head.base + 1;
  while (highest > MaskOf(head.width)) ++head.width;
  return head;
}

}  // namespace

std::int64_t FactOfReal(double value) { return std::bit_cast<std::int64_t>(value); }
double RealOfFact(std::int64_t fact) { return std::bit_cast<double>(fact); }

CFactColumn UnpackFact(std::string_view packed, EFact fact) {
  const auto number = static_cast<std::size_t>(fact);
  const char* bytes = packed.data() + FindColumn(packed, number);
  const SColumnHead head = ReadHead(packed, number);
  const std::uint64_t mask = MaskOf(head.width), before = head.base - 1;
  CFactColumn column;
  for (std::int64_t& value : column) {
    const std::uint64_t more = LoadWhole(bytes) & mask;
    value = more == 0 ? kUnknownFact : static_cast<std::int64_t>(before + more);
    bytes += head.width;
  }
  return column;
}

CFactBlock::CFactBlock() {
  for (CFactColumn& column : m_columns) column.fill(kUnknownFact);
}

CFactBlock::CFactBlock(std::string_view packed) {
  for (std::size_t fact = 0; fact < kFactCount; ++fact) m_columns[fact] = UnpackFact(packed, static_cast<EFact>(fact));
}

CFacts CFactBlock::At(std::size_t place) const {
  CFacts facts;
  for (std::size_t fact = 0; fact < kFactCount; ++fact) facts[static_cast<EFact>(fact)] = m_columns[fact][place];
  return facts;
}

void CFactBlock::Set(std::size_t place, const CFacts& facts) {
  for (std::size_t fact = 0; fact < kFactCount; ++fact) m_columns[fact][place] = facts[static_cast<EFact>(fact)];
}

std::string CFactBlock::Pack() const {
  std::string heads, columns;
  for (const CFactColumn& column : m_columns) {
    const SColumnHead head = ColumnHeadOf(column);
    heads.append(reinterpret_cast<const char*>(&head.base), kBaseBytes);
    heads.push_back(static_cast<char>(head.width));
    for (const std::int64_t value : column) {
      const std::uint64_t more = value == kUnknownFact ? 0 : static_cast<std::uint64_t>(value) - head.base + 1;
      columns.append(reinterpret_cast<const char*>(&more), head.width);
    }
  }
  columns.append(sizeof(std::uint64_t), '\0');
  return heads + columns;
}

}  // namespace qvhost
