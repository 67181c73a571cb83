#pragma once

#include <memory>
#include <string>

#include "platform/imageformats/process/decoder.h"

namespace imageformats {

// A decoder for one user of it at a time: one of the same use that is idle,
// else a new one, not yet started. It goes back to the idle ones with its last holder, so that short-lived managers do
// not each start a process. Any thread; a copy of this process begins without any.
std::shared_ptr<CDecoder> TakeDecoder(const SDecoderUse& use);

}  // namespace imageformats
