#pragma once

#include <cstdint>

#include "tests/support/file_bytes.h"

// What becomes of the bytes when they are opened, described, rendered small and large, and read: kQvOk, or the first
// failure's status.
std::int32_t OutcomeOf(const qvtest::SFileBytes& bytes);

// Cut anywhere, the file is refused; the last `spare` bytes may be missing.
void ExpectDamagedWhereverCut(const qvtest::SFileBytes& bytes, std::size_t spare);
// Every byte changed in several ways, one at a time: any outcome will do that is a status. Under ThreadSanitizer both
// take every seventh byte.
void ExpectNoHarmOfChanges(const qvtest::SFileBytes& bytes);
