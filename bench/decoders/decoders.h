#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

struct SBox {
  std::uint32_t width = 0, height = 0;
};

// What a thumbnail is made of: rows from the top, a pixel's samples together.
struct SAverages {
  std::uint32_t width = 0, height = 0;
  double most = 255;  // what a sample can be
  std::vector<float> samples;
};

struct SDecoder {
  std::string name;
  std::function<SAverages()> decode;  // reads the file anew each time
};

// The platform's own decoder and, behind it, libraries that stand in for it, each from the file to averages that fit
// the box. Nothing when the platform leaves such a file to the library anyway. Throw std::exception.
std::vector<SDecoder> JpegDecoders(const std::filesystem::path& file, const SBox& box);
std::vector<SDecoder> PngDecoders(const std::filesystem::path& file, const SBox& box);
std::vector<SDecoder> TiffJpegDecoders(const std::filesystem::path& file, const SBox& box);
std::vector<SDecoder> TiffLzwDecoders(const std::filesystem::path& file, const SBox& box);
