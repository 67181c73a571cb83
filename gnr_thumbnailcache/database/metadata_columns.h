#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <variant>

#include "gnr_thumbnailcache/database/text_information.h"

// Where a record keeps a column's value. The kind of the value decides how it is bound and read.
using CMetadataValue = std::variant<CQvStringW*, std::uint8_t*, std::uint32_t*, std::int64_t*, double*>;

// A column of the metadata table.
struct SMetadataColumn {
  const char* name;
  const char* type;
  const char* parameter;
  // Null for the two first, filename and lastWritten, which find the row.
  CMetadataValue (*value)(STextInformation& information);
};

// All columns in table order, which is also the order of the statements' parameters.
std::span<const SMetadataColumn> MetadataColumns() noexcept;
// Those behind the key: what a row holds.
std::span<const SMetadataColumn> MetadataValueColumns() noexcept;

enum class EMetadataPart { Name, Definition, Parameter };

// Columns joined with ", ": names, names with types, or parameter names.
std::string JoinMetadataColumns(EMetadataPart part, std::span<const SMetadataColumn> columns = MetadataColumns());
