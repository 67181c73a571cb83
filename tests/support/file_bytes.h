#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "system/qvbytearray.h"

namespace qvtest {

// What a file holds.
using SFileBytes = std::vector<std::uint8_t>;

SFileBytes BytesOf(std::string_view text);
SFileBytes BytesOf(const CQvByteArray& bytes);
std::string TextOf(const CQvByteArray& bytes);
SFileBytes Concatenated(const std::vector<SFileBytes>& parts);

// Throw std::runtime_error.
SFileBytes ReadFile(const std::string& path);
std::string ReadTextFile(const std::string& path);
void WriteFile(const std::string& path, std::span<const std::uint8_t> bytes);

}  // namespace qvtest
