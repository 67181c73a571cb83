#include "host/find/search_words.h"

#include <algorithm>
#include <unordered_set>

namespace qvhost {
namespace {

// Of very long words the first ones do: whatever the index answers is compared with the words themselves.
constexpr std::size_t kMostTrigrams = 64;
// More of them leave hardly any texts out that the others do not.
constexpr std::size_t kMostAsked = 12;

bool BeginsCharacter(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) != 0x80; }

std::string Quoted(std::string_view text) {
  std::string quoted = "\"";
  for (const char c : text) quoted.append(c == '"' ? 2 : 1, c);
  return quoted + '"';
}

// All of a word that do for it, first those side by side, the last one over the end of the one before: few texts have
// these but not those between.
std::vector<std::string> TrigramsOf(std::string_view word) {
  std::vector<std::size_t> begins;
  for (std::size_t at = 0; at < word.size() && begins.size() < kMostTrigrams; at = NextCharacter(word, at)) {
    begins.push_back(at);
  }
  begins.push_back(NextCharacter(word, begins.back()));
  const std::size_t count = begins.size() - 3;
  std::vector<std::string> covering, between;
  for (std::size_t at = 0; at < count; ++at) {
    const bool isCovering = at % 3 == 0 || at + 1 == count;
    (isCovering ? covering : between).emplace_back(word.substr(begins[at], begins[at + 3] - begins[at]));
  }
  covering.insert(covering.end(), between.begin(), between.end());
  return covering;
}

// A trigram, and which texts of a sample have it.
struct STrigram {
  std::string text;
  std::vector<bool> isIn;
  std::size_t count = 0;

  STrigram(std::string trigram, const std::vector<std::string>& sample) : text(std::move(trigram)) {
    for (const std::string& each : sample) {
      isIn.push_back(each.find(text) != each.npos);
      count += isIn.back();
    }
  }
};

std::vector<STrigram> RarestFirst(const std::vector<std::string>& words, const std::vector<std::string>& sample) {
  std::unordered_set<std::string> seen;
  std::vector<STrigram> trigrams;
  for (const std::string& word : words) {
    if (trigrams.size() >= kMostTrigrams || CountCharacters(word) < 3) continue;
    for (std::string& trigram : TrigramsOf(word)) {
      if (seen.insert(trigram).second) trigrams.emplace_back(std::move(trigram), sample);
    }
  }
  std::stable_sort(trigrams.begin(), trigrams.end(),
                   [](const STrigram& a, const STrigram& b) { return a.count < b.count; });
  return trigrams;
}

// Which texts may still be answers.
class CRemaining {
 public:
  explicit CRemaining(std::size_t texts) : m_isLeft(texts, true) {}

  // A trigram costs a walk through all texts that have it. It is worth that when it is rare, or saves looks at texts
  // instead, of which one takes as long as that many steps.
  bool IsWorthIt(const STrigram& trigram) const {
    constexpr std::size_t kStepsOfLook = 100, kRare = 32;
    std::size_t saved = 0;
    for (std::size_t text = 0; text < m_isLeft.size(); ++text) saved += m_isLeft[text] && !trigram.isIn[text];
    return saved * kStepsOfLook > trigram.count || trigram.count * kRare <= m_isLeft.size();
  }
  void Keep(const STrigram& trigram) {
    for (std::size_t text = 0; text < m_isLeft.size(); ++text) m_isLeft[text] = m_isLeft[text] && trigram.isIn[text];
  }

 private:
  std::vector<bool> m_isLeft;
};

}  // namespace

std::vector<std::string> WordsOfLine(std::string_view line) {
  std::vector<std::string> words;
  while (!line.empty()) {
    const bool isQuoted = line.front() == '"' && line.find('"', 1) != line.npos;
    if (isQuoted) line.remove_prefix(1);
    const std::size_t end = std::min(line.find_first_of(isQuoted ? "\"" : " \t\r\n\""), line.size());
    if (end > 0) words.emplace_back(line.substr(0, end));
    line.remove_prefix(std::min(isQuoted || end == 0 ? end + 1 : end, line.size()));
  }
  return words;
}

std::vector<std::string> FoldWords(const CFolding& folding, const std::vector<std::string>& words) {
  std::vector<std::string> folded;
  for (const std::string& word : words) {
    std::string text = folding(word);
    if (!text.empty()) folded.push_back(std::move(text));
  }
  return folded;
}

std::string TrigramQuery(const std::vector<std::string>& foldedWords, const std::vector<std::string>& sample) {
  CRemaining remaining(sample.size());
  std::string query;
  std::size_t asked = 0;
  for (const STrigram& trigram : RarestFirst(foldedWords, sample)) {
    if (asked == kMostAsked || (asked > 0 && !remaining.IsWorthIt(trigram))) continue;
    remaining.Keep(trigram);
    query += (query.empty() ? "" : " AND ") + Quoted(trigram.text);
    ++asked;
  }
  return query;
}

std::string PairQuery(const std::vector<std::vector<std::string>>& trigramsOfWords) {
  std::string query;
  for (const std::vector<std::string>& trigrams : trigramsOfWords) {
    std::string any;
    for (const std::string& trigram : trigrams) any += (any.empty() ? "" : " OR ") + Quoted(trigram);
    query += (query.empty() ? "(" : " AND (") + any + ")";
  }
  return query;
}

std::size_t NextCharacter(std::string_view text, std::size_t at) {
  do ++at;
  while (at < text.size() && !BeginsCharacter(text[at]));
  return at;
}

std::size_t CountCharacters(std::string_view text) {
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), &BeginsCharacter));
}

}  // namespace qvhost
