#pragma once

#include <string>

// Where the writers of a shared file put what they write, each below its own number.
namespace qvtest {

constexpr unsigned kExperimentsOfWriter = 10;

inline std::string FileKey(const std::string& writer, unsigned index) {
  return "file-" + writer + "-" + std::to_string(index);
}
inline std::string ItemKey(const std::string& writer, unsigned index) {
  return "item-" + writer + "-" + std::to_string(index);
}
// An experiment is known by its number of sections.
inline unsigned FirstExperiment(unsigned long writer) {
  return static_cast<unsigned>(writer) * kExperimentsOfWriter + 1;
}
inline std::string ExperimentKey(unsigned sections) { return "experiment-" + std::to_string(sections); }

}  // namespace qvtest
