#include "tests/support/samples.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace qvtest {

std::string SamplesFolder() {
  const char* set = std::getenv("QV_SAMPLES");
  const std::filesystem::path folder =
      set != nullptr ? set : std::filesystem::path(QV_SOURCE_FOLDER) / "../shared/samples";
  std::error_code error;
  return std::filesystem::is_directory(folder, error) ? folder.lexically_normal().string() : std::string();
}

std::vector<SSampleOutcome> ReadSampleOutcomes() {
  const std::string path = QV_SOURCE_FOLDER "/tests/support/sample_outcomes.tsv";
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

}  // namespace qvtest
