#pragma once

#include <cstdint>

// Status codes shared by every platform interface: signed 32 bits, 0 is success.
constexpr std::int32_t kQvOk = 0;
// The operation exists in the interface only.
constexpr std::int32_t kQvNotImplemented = -2;
// This build has no way to treat such data (an unsupported compression or pixel type).
constexpr std::int32_t kQvUnsupported = -3;
// Missing argument, missing object, damaged or unreadable data, failed step.
constexpr std::int32_t kQvFailure = -9;
