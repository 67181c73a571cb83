#pragma once

#include <cstdint>
#include <string>

#include "system/qvstring.h"
#include "system/qvthumbnaildescription.h"

// The form in which locations are kept and compared.
inline std::wstring LowerCased(const wchar_t* location) {
  std::wstring lowered(location);
  CQvStringUtils::ToLower(lowered);
  return lowered;
}

// The map's key: the location with a suffix for the wanted quality, so that a file has an entry for each.
inline std::wstring MakeCacheKey(std::wstring location, std::uint32_t flags) {
  location += flags != 0 ? L"@N" : L"@A";
  return location;
}

inline std::wstring MakeCacheKey(const SQvThumbnailDescription& desc) {
  std::wstring key;
  key.reserve(desc.location.GetLength() + 2);
  key = desc.location.Str();
  CQvStringUtils::ToLower(key);
  return MakeCacheKey(std::move(key), desc.flags);
}
