#pragma once

#include <string_view>

// Writes the text to the process's standard error in one piece, whatever the orientation and buffering of the C stream.
void WriteStandardError(std::string_view text) noexcept;
