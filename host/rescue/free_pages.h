#pragma once

#include <vector>

#include "host/rescue/page_file.h"

namespace qvhost {

// The pages of which the file says that nothing stands in them any more. Empty when its list of them is damaged: what
// it names may then be in use.
std::vector<std::uint32_t> FindFreePages(const CPageFile& file);

}  // namespace qvhost
