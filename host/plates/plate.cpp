#include "host/plates/plate.h"

#include <algorithm>
#include <iterator>
#include <tuple>
#include <utility>

namespace qvhost {
namespace {

constexpr std::pair<std::uint32_t, std::uint32_t> kUsualSizes[] = {{8, 12}, {16, 24}, {32, 48}};

// Pictures of one place, which follow each other, become its first one.
void JoinFields(std::vector<SWell>* wells) {
  std::vector<SWell> joined;
  for (SWell& well : *wells) {
    if (!joined.empty() && joined.back().row == well.row && joined.back().column == well.column) {
      joined.back().fields += well.fields;
    } else {
      joined.push_back(std::move(well));
    }
  }
  *wells = std::move(joined);
}

}  // namespace

std::string RowName(std::uint32_t row) {
  std::string letters;
  for (std::uint32_t r = row + 1; r > 0; r = (r - 1) / 26) {
    letters.insert(letters.begin(), static_cast<char>('A' + (r - 1) % 26));
  }
  return letters;
}

std::string WellName(std::uint32_t row, std::uint32_t column) { return RowName(row) + std::to_string(column + 1); }

void Settle(SPlateLayout* plate) {
  std::stable_sort(plate->wells.begin(), plate->wells.end(), [](const SWell& a, const SWell& b) {
    return std::tie(a.row, a.column) < std::tie(b.row, b.column);
  });
  JoinFields(&plate->wells);
  std::uint32_t rows = 0, columns = 0;
  for (const SWell& well : plate->wells) {
    rows = std::max(rows, well.row + 1);
    columns = std::max(columns, well.column + 1);
  }
  if (plate->rows == 0 || plate->columns == 0) {
    const auto* usual = std::find_if(std::begin(kUsualSizes), std::end(kUsualSizes),
                                     [&](const auto& size) { return rows <= size.first && columns <= size.second; });
    if (usual != std::end(kUsualSizes)) std::tie(plate->rows, plate->columns) = *usual;
  }
  plate->rows = std::max(plate->rows, rows);
  plate->columns = std::max(plate->columns, columns);
}

}  // namespace qvhost
