#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "platform/imageformats/base/input.h"
#include "platform/imageformats/planes/stored_samples.h"

namespace imageformats {

struct SNrrdAxis {
  std::uint64_t size = 0;  // samples, above 0
  double spacing = 0.0;    // in `unit`, 0 unknown
  std::string unit, kind, label;
};

// What the text before the data says. Names of fields and their values are in lower case, as far as they are words.
struct SNrrdHeader {
  std::string type, encoding;
  bool bigEndian = false;
  std::vector<SNrrdAxis> axes;  // the fastest first
  std::int64_t lineSkip = 0;    // lines before the data
  std::int64_t byteSkip = 0;    // bytes before the data, decoded; -1: the data are the file's last bytes
  std::string dataFile;         // empty: behind the header
  std::string content;
  std::vector<std::pair<std::string, std::string>> values;  // of keys, both as written
  std::uint64_t dataOffset = 0;                             // behind the header
};

bool IsNrrd(std::span<const std::uint8_t> head, std::uint64_t size);

// Throws CDamagedError, with what is wrong.
SNrrdHeader ReadNrrdHeader(const CInput& input);

}  // namespace imageformats
