#pragma once

#include <cstdint>
#include <string>

// Size in bytes, and the later of creation and last write as a Julian day number, of the file that a location names.
// -9 when it cannot be opened; the outputs are filled all the same when it exists.
std::int32_t GetFileIdentity(const std::wstring& location, std::int64_t* size, double* lastWritten);
