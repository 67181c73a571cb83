#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace qvhost {

// A well that was imaged, and where its first picture is.
struct SWell {
  std::uint32_t row = 0, column = 0;  // from 0
  std::uint32_t fields = 1;           // pictures of it that are known
  std::string file;                   // absolute
  // The file's own thumbnail shows another picture: this one is rendered from the file as its well of that number.
  bool isHidden = false;
  std::uint32_t number = 0;
  std::uint32_t width = 0, height = 0;  // pixels of a hidden one
};

struct SPlateLayout {
  std::string name;
  std::uint32_t rows = 0, columns = 0;
  std::vector<SWell> wells;  // by row and column; one for each place
};

// "A" to "Z", "AA" and on; "A1", "AF48".
std::string RowName(std::uint32_t row);
std::string WellName(std::uint32_t row, std::uint32_t column);

// Brings wells into order, keeps the first of each place with the fields of all, and gives a plate of unknown size that
// of the smallest usual one from 96 to 1,536 wells that holds them.
void Settle(SPlateLayout* plate);

}  // namespace qvhost
