#pragma once

#include <numbers>

// Half a turn in radians.
inline constexpr float kPi = std::numbers::pi_v<float>;
