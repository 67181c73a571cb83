#pragma once

#include <cstddef>
#include <string>

// The columns of the metadata table in table order, which is also the order of the statements' parameters.
struct SMetadataColumn {
  const char* name;
  const char* type;
  const char* parameter;
};

constexpr std::size_t kMetadataColumnCount = 36;
// The first two, filename and lastWritten, find the row; the others are what it holds.
constexpr std::size_t kMetadataKeyColumns = 2;

extern const SMetadataColumn kMetadataColumns[kMetadataColumnCount];

enum class EMetadataPart { Name, Definition, Parameter };

// The columns from `first` on, joined with ", ": names, names with types, or parameter names.
std::string JoinMetadataColumns(EMetadataPart part, std::size_t first);
