#pragma once

#include <cstdint>
#include <optional>
#include <unordered_map>

#include "host/rescue/byte_file.h"

namespace qvhost {

// Pages that stand in a file beside the database and count instead of its own.
struct SPageLog {
  std::size_t pageSize = 0;
  std::uint32_t pageCount = 0;                            // of the database with them
  std::unordered_map<std::uint32_t, std::int64_t> pages;  // offset in the log of each, by its number
};

// What was committed to a write-ahead log. Nothing when there is no whole transaction in it.
std::optional<SPageLog> ReadWriteAheadLog(const CByteFile& file);

// The pages as they were before the transaction that was cut off. Nothing when there was none.
std::optional<SPageLog> ReadRollbackJournal(const CByteFile& file);

// Whether SQLite makes pages of this size.
bool IsPageSize(std::uint64_t size) noexcept;

}  // namespace qvhost
