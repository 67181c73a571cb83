#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace qvhost {

// A place on a plate that a name may speak of.
struct SNamedWell {
  std::uint32_t row = 0, column = 0;  // from 0
  bool isExplicit = false;            // "Well B12", "r02c12": nothing else is called so
  friend bool operator==(const SNamedWell&, const SNamedWell&) = default;
};

// The places that a file's or folder's name may speak of, from left to right: "A01", "B12" and "AF48" as words of their
// own (perhaps with a field, site or channel right behind, as in "A01f02"), "B - 03", "r02c12". Not more than the 32
// rows and 48 columns of the largest plates.
std::vector<SNamedWell> FindWellNames(const std::string& name);

}  // namespace qvhost
