#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "host/rescue/big_endian.h"

namespace qvhost {

enum class EValueKind { Null, Integer, Real, Text, Blob };

// A value of a row. Texts and blobs lie in the bytes that it was read from.
struct SRecordValue {
  EValueKind kind = EValueKind::Null;
  std::int64_t integer = 0;
  double real = 0.0;
  std::string_view bytes = {};
  bool isWhole = true;  // of a text: it is in the encoding of the file's texts

  bool IsNull() const noexcept { return kind == EValueKind::Null; }
  // Of an integer, too, as SQLite keeps numbers without a fraction.
  double Number() const noexcept { return kind == EValueKind::Integer ? static_cast<double>(integer) : real; }
};

using CRecord = std::vector<SRecordValue>;

// Reads a record of SQLite's file format. False when the bytes are none, to the last one.
bool DecodeRecord(CBytes payload, CRecord* values);

}  // namespace qvhost
