#pragma once

#include <functional>
#include <span>
#include <string_view>

#include "platform/imageformats/codec/codec_module.h"

namespace imageformats {

// All codecs of this build, in the order in which they are asked whether content is theirs: whole-slide before TIFF,
// because most whole-slide files are TIFF files too; whole-slide once more, at the end, for what nobody else knows.
std::span<const CCodecModule* const> AllCodecs() noexcept;

// Null when there is none of that name (exact, upper case).
const CCodecModule* FindCodecByName(std::string_view name) noexcept;
// The codec for the content; null when no codec knows it.
const CCodecModule* FindCodecFor(const CInput& input) noexcept;
// Likewise, with Matches asked of `matches`, which may throw; only for codecs whose first look does not settle it.
const CCodecModule* FindCodecFor(const CInput& input, const std::function<bool(const CCodecModule&)>& matches);

}  // namespace imageformats
