#pragma once

#include <optional>
#include <string>
#include <utility>

namespace qvhost {

// Amounts as they are typed.

// A number from 0 on at the text's beginning, and what follows it without blanks.
std::optional<std::pair<double, std::string>> NumberAndUnit(const std::string& text);

// "500MB", "2 GB", "1000" in bytes.
std::optional<double> ParseByteCount(const std::string& text);

}  // namespace qvhost
