#include "host/rescue/tree_walk.h"

#include <algorithm>
#include <vector>

namespace qvhost {
namespace {

// The first one last. False when one of them cannot be told.
bool AddChildren(const CTreePage& page, std::vector<std::uint32_t>* pending) {
  bool isWhole = true;
  const std::size_t before = pending->size();
  for (std::size_t i = 0; i < page.CellCount(); ++i) {
    const auto cell = page.Cell(i);
    if (cell) pending->push_back(cell->child);
    isWhole = isWhole && cell.has_value();
  }
  pending->push_back(page.RightChild());
  std::reverse(pending->begin() + static_cast<std::ptrdiff_t>(before), pending->end());
  return isWhole;
}

}  // namespace

std::uint32_t WalkTree(const CPageFile& file, std::uint32_t root, bool isTable, CPageSet& used,
                       const std::function<bool(const CTreePage& page)>& onPage) {
  std::uint32_t lost = 0;
  std::vector<std::uint8_t> bytes;
  for (std::vector<std::uint32_t> pending = {root}; !pending.empty();) {
    const std::uint32_t number = pending.back();
    pending.pop_back();
    const CBytes read = file.Read(number);
    bytes.assign(read.begin(), read.end());  // onPage reads others
    const CTreePage page(bytes, number == 1);
    if (page.Kind() == EPageKind::None || page.IsTable() != isTable || !used.Add(number)) {
      ++lost;
      continue;
    }
    if (page.IsInterior() && !AddChildren(page, &pending)) ++lost;
    // Interior pages of an index hold rows as well.
    if (page.Kind() == EPageKind::TableInterior || onPage(page)) continue;
    used.Remove(number);
    ++lost;
  }
  return lost;
}

}  // namespace qvhost
