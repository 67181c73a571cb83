#pragma once

#include <cstddef>

#include "host/rescue/byte_file.h"

namespace qvhost {

// The size that the file's pages really have, which is the one of which most pages are whole, whatever the header
// says. `claimed`, of the header, where nothing speaks for another. `reserved`: the bytes left free at each page's end.
std::size_t FindPageSize(const CByteFile& file, std::size_t claimed, std::size_t reserved);

}  // namespace qvhost
