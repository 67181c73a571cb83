#pragma once

#include <cstdint>

#include "system/qvlitevariant.h"

// Ends what `writer` has written and continues the CRC-32 (ISO 3309) in `*crc` over the bytes. False with *crc
// unchanged when the writer refused something.
bool ContinueCrc(CQvLiteVariantW& writer, std::uint32_t* crc);
