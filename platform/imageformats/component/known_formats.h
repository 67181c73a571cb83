#pragma once

#include <string>

#include "platform/imageformats/base/input.h"

namespace imageformats {

// Why there is no codec for the content: what format it is of, as far as its signature tells. Asked only when no codec
// knows it, so that a format that gets one needs no change here. A sentence for people, UTF-8.
std::string UnknownFormatReason(const CInput& input);

}  // namespace imageformats
