#include "host/output/suggestion.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace qvhost {
namespace {

// Letters that are missing, too many, other ones, or swapped with their neighbours.
std::size_t CountMistakes(const std::string& a, const std::string& b) {
  std::vector<std::size_t> before, last(b.size() + 1), row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    before = std::exchange(last, row);
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
      const bool isSwapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
      if (isSwapped) row[j] = std::min(row[j], before[j - 2] + 1);
    }
  }
  return row[b.size()];
}

}  // namespace

std::string FindSimilar(const std::string& typed, const std::vector<std::string>& words) {
  constexpr std::size_t kLongestWord = 64;
  std::string best;
  std::size_t fewest = std::min<std::size_t>(typed.size() / 2, 3) + 1;
  if (typed.size() > kLongestWord) return best;
  for (const std::string& word : words) {
    const std::size_t mistakes = typed.size() > 2 && word.starts_with(typed) ? 1 : CountMistakes(typed, word);
    if (mistakes >= fewest) continue;
    fewest = mistakes;
    best = word;
  }
  return best;
}

}  // namespace qvhost
