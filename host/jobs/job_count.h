#pragma once

#include <string>

namespace qvhost {

// How many thumbnails are to be made at once, from 1 to 256: a number, or as many as this process may use processors
// for "auto" and "0". Throws CHostError for another text.
int ParseJobCount(const std::string& text);

}  // namespace qvhost
