#pragma once

#include <memory>
#include <string>

#include "platform/imageformats/process/decoder.h"

namespace imageformats {

// A decoder for one user of it at a time: one of the same use that is idle,
// else a new one, not yet started. It goes back to the idle ones with its last holder, so that short-lived managers do
// not each start a process. Any thread; a copy of this process begins without any.
std::shared_ptr<CDecoder> TakeDecoder(const SDecoderUse& use);

// Whether decoders of this use are not started any more, because several in a row never became ready, or one of them
// kept its viewer waiting. Any thread.
bool IsGivenUp(const SDecoderUse& use);
void NoteReady(const SDecoderUse& use);
void NoteUnready(const SDecoderUse& use, bool keptWaiting);

}  // namespace imageformats
