#include "host/rescue/tree_page.h"

namespace qvhost {
namespace {

constexpr std::size_t kFileHeaderSize = 100;
constexpr std::size_t kLeafHeaderSize = 8;
constexpr std::size_t kInteriorHeaderSize = 12;
constexpr std::size_t kCountAt = 3;
constexpr std::size_t kRightChildAt = 8;

EPageKind KindOf(std::uint8_t byte) {
  for (const EPageKind kind :
       {EPageKind::IndexInterior, EPageKind::TableInterior, EPageKind::IndexLeaf, EPageKind::TableLeaf}) {
    if (byte == static_cast<std::uint8_t>(kind)) return kind;
  }
  return EPageKind::None;
}

// How much of a record stays on its page.
std::size_t LocalSize(std::uint64_t payload, std::size_t usable, bool isTable) {
  const std::size_t most = isTable ? usable - 35 : (usable - 12) * 64 / 255 - 23;
  if (payload <= most) return static_cast<std::size_t>(payload);
  const std::size_t least = (usable - 12) * 32 / 255 - 23;
  const std::size_t wanted = least + static_cast<std::size_t>((payload - least) % (usable - 4));
  return wanted <= most ? wanted : least;
}

}  // namespace

CTreePage::CTreePage(CBytes usable, bool isFirst) : m_bytes(usable), m_header(isFirst ? kFileHeaderSize : 0) {
  if (m_bytes.size() < m_header + kInteriorHeaderSize) return;
  const EPageKind kind = KindOf(m_bytes[m_header]);
  const bool isLeaf = kind == EPageKind::TableLeaf || kind == EPageKind::IndexLeaf;
  m_pointers = m_header + (isLeaf ? kLeafHeaderSize : kInteriorHeaderSize);
  m_cellCount = static_cast<std::size_t>(ReadBigEndian(m_bytes.subspan(m_header + kCountAt, 2)));
  if (m_pointers + 2 * m_cellCount <= m_bytes.size()) m_kind = kind;
}

std::uint32_t CTreePage::RightChild() const { return ReadNumber(m_bytes, m_header + kRightChildAt); }

bool CTreePage::TakePayload(CBytes* rest, SCell* cell) const {
  const bool isTable = m_kind == EPageKind::TableLeaf;
  std::uint64_t rowid = 0;
  if (!TakeVarint(rest, &cell->payloadSize)) return false;
  if (isTable && !TakeVarint(rest, &rowid)) return false;
  cell->rowid = static_cast<std::int64_t>(rowid);
  const std::size_t local = LocalSize(cell->payloadSize, m_bytes.size(), isTable);
  if (local > rest->size()) return false;
  cell->local = rest->first(local);
  *rest = rest->subspan(local);
  if (local == cell->payloadSize) return true;
  if (rest->size() < 4) return false;
  cell->overflow = ReadNumber(*rest, 0);
  *rest = rest->subspan(4);
  return true;
}

std::optional<SCell> CTreePage::Cell(std::size_t index) const {
  const auto at = static_cast<std::size_t>(ReadBigEndian(m_bytes.subspan(m_pointers + 2 * index, 2)));
  if (at < m_pointers + 2 * m_cellCount || at >= m_bytes.size()) return std::nullopt;
  CBytes rest = m_bytes.subspan(at);
  SCell cell;
  if (IsInterior()) {
    if (rest.size() < 4) return std::nullopt;
    cell.child = ReadNumber(rest, 0);
    rest = rest.subspan(4);
  }
  std::uint64_t rowid = 0;
  const bool isSound = m_kind == EPageKind::TableInterior ? TakeVarint(&rest, &rowid) : TakePayload(&rest, &cell);
  if (!isSound) return std::nullopt;
  cell.end = m_bytes.size() - rest.size();
  return cell;
}

}  // namespace qvhost
