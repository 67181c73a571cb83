#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace qvtest {

// What a file holds.
using FileBytes = std::vector<std::uint8_t>;

FileBytes BytesOf(std::string_view text);
FileBytes Concatenated(const std::vector<FileBytes>& parts);

// Throw std::runtime_error.
FileBytes ReadFile(const std::string& path);
std::string ReadTextFile(const std::string& path);
void WriteFile(const std::string& path, std::span<const std::uint8_t> bytes);

}  // namespace qvtest
