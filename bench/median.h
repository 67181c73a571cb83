#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

// 0 of nothing.
inline double Median(std::vector<double> values) {
  if (values.empty()) return 0;
  std::sort(values.begin(), values.end());
  const std::size_t half = values.size() / 2;
  return values.size() % 2 != 0 ? values[half] : (values[half - 1] + values[half]) / 2;
}
