#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

// One kind of file that decoders are compared on.
struct SCorpusClass {
  std::string_view name;
  std::string_view extension;
  int batch;     // so many files that a run takes some tenths of a second
  int pictures;  // different ones; the others of the batch are further links to them
  void (*make)(const std::filesystem::path& path, int number, int scalePercent);
  void (*makeTiny)(const std::filesystem::path& path);  // one pixel, to take start-up out
};

const std::vector<SCorpusClass>& CorpusClasses();
