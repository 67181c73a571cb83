#pragma once

#include <cstdint>
#include <string>

// What the libraries need by themselves, with nothing around them: decoded rows are thrown away. Each returns the
// number of bytes decoded. Throw std::runtime_error; the JPEG and PNG libraries end the program on damage.

// At an eighth of the size.
std::uint64_t DecodeJpegAtEighth(const std::string& path);
std::uint64_t DecodePngRows(const std::string& path);
// `count` directories from `first` on, strip by strip or tile by tile.
std::uint64_t DecodeTiff(const std::string& path, int first, int count);
// One sub-directory of the first directory.
std::uint64_t DecodeTiffSubDirectory(const std::string& path, int number);
