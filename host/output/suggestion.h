#pragma once

#include <string>
#include <vector>

namespace qvhost {

// The one of the words that a mistyped one was most likely meant to be; empty when none is like it.
std::string FindSimilar(const std::string& typed, const std::vector<std::string>& words);

}  // namespace qvhost
