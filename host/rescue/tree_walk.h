#pragma once

#include <cstdint>
#include <functional>

#include "host/rescue/page_file.h"
#include "host/rescue/tree_page.h"

namespace qvhost {

// Goes through the pages of a tree in the order of its keys. `onPage` gets each that holds rows, and says whether it
// belongs to the tree; `used` gets those that do. Returns how many pages of the tree are not to be found.
std::uint32_t WalkTree(const CPageFile& file, std::uint32_t root, bool isTable, CPageSet& used,
                       const std::function<bool(const CTreePage& page)>& onPage);

}  // namespace qvhost
