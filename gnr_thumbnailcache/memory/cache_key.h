#pragma once

#include <cstdint>
#include <string>

#include "system/qvthumbnaildescription.h"

// The map's key: a location with a suffix for the wanted quality, so that a file has an entry for each.
inline std::wstring MakeCacheKey(std::wstring location, std::uint32_t flags) {
  location += flags != 0 ? L"@N" : L"@A";
  return location;
}

// The key under which the description's entry stands: of its location in lower case.
inline std::wstring MakeCacheKey(const SQvThumbnailDescription& desc) {
  std::wstring key;
  key.reserve(desc.location.GetLength() + 2);
  key = desc.location.Str();
  CQvStringUtils::ToLower(key);
  return MakeCacheKey(std::move(key), desc.flags);
}
