#pragma once

// The seam to the machine's character tables: towlower under one fixed UTF-8 character-type locale, for characters
// beyond ASCII. Any thread.
wchar_t LowerBeyondAscii(wchar_t c) noexcept;
