#pragma once

#include <string>

namespace qvhost {

// The path that a file URI of this machine stands for (RFC 8089); anything else, and the name of a file that is there,
// as it is. Throws CHostError for a URI that leads to no file of this machine.
std::string PathOfUri(const std::string& text);

}  // namespace qvhost
