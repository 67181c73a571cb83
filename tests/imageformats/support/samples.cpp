#include "tests/imageformats/support/samples.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

std::string SamplesFolder() {
  const char* set = std::getenv("QV_SAMPLES");
  std::filesystem::path folder = set != nullptr ? set : std::filesystem::path(QV_SOURCE_FOLDER) / "../shared/samples";
  std::error_code error;
  return std::filesystem::is_directory(folder, error) ? folder.lexically_normal().string() : std::string();
}

std::vector<SSampleOutcome> ReadSampleOutcomes() {
  const std::string path = QV_SOURCE_FOLDER "/tests/imageformats/sample_outcomes.tsv";
  std::ifstream table(path);
  std::vector<SSampleOutcome> outcomes;
  std::string line;
  std::getline(table, line);  // the headings
  while (std::getline(table, line)) {
    std::istringstream columns(line);
    SSampleOutcome outcome;
    std::getline(columns, outcome.file, '\t');
    std::getline(columns, outcome.outcome, '\t');
    std::getline(columns, outcome.detail, '\t');
    outcomes.push_back(outcome);
  }
  if (outcomes.empty()) throw std::runtime_error("cannot read " + path);
  return outcomes;
}

SThumbnailSize FitInto(SThumbnailSize box, std::uint32_t width, std::uint32_t height) {
  const auto scale = [](std::uint64_t a, std::uint64_t b, std::uint64_t c) {
    return static_cast<std::uint32_t>(std::max<std::uint64_t>(a * b / c, 1));
  };
  const std::uint32_t fitted = scale(height, box.width, width);
  if (fitted <= box.height) return {box.width, fitted};
  return {scale(width, box.height, height), box.height};
}
