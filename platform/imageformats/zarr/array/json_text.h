#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace imageformats::zarr {

using CJson = nlohmann::json;

// Descriptions are no larger; deeper nesting is refused.
inline constexpr std::uint64_t kMostJsonBytes = 8u << 20;
inline constexpr int kMostJsonDepth = 64;

// Throws CDamagedError for what is no JSON or nested too deeply.
CJson ParseJson(std::string_view text);

// The rest never throws: what is missing or of another type is nothing, empty or null.
const CJson* Member(const CJson& object, const char* name) noexcept;
const CJson* Member(const CJson* object, const char* name) noexcept;
// The elements of a list; none for anything else.
const std::vector<CJson>& Elements(const CJson* list) noexcept;
std::string TextIn(const CJson* value);
// Of numbers that are finite.
std::optional<double> NumberIn(const CJson* value) noexcept;
std::vector<double> NumbersIn(const CJson* list);
// A list of whole numbers, none of them negative; nothing when one is not.
std::optional<std::vector<std::uint64_t>> SizesIn(const CJson* list);

}  // namespace imageformats::zarr
