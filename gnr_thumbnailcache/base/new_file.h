#pragma once

#include <string>

// Makes a new, empty file beside the file `path` that nobody may open who may not open that one. It is called like it,
// with `suffix` and, when that name is taken, a number behind. Empty when none can be made; errno then says why.
std::string CreateFileBeside(const std::string& path, const std::string& suffix);

void RemoveFile(const std::string& path) noexcept;
