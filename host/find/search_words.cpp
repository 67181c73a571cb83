#include "host/find/search_words.h"

#include <algorithm>
#include <unordered_set>

namespace qvhost {
namespace {

// Of very long words the first ones do: whatever the index answers is compared with the words themselves.
constexpr std::size_t kMostTrigrams = 64;

bool BeginsCharacter(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) != 0x80; }

// Behind the character that begins there.
std::size_t NextCharacter(std::string_view text, std::size_t at) {
  do ++at;
  while (at < text.size() && !BeginsCharacter(text[at]));
  return at;
}

std::string Quoted(std::string_view text) {
  std::string quoted = "\"";
  for (const char c : text) quoted.append(c == '"' ? 2 : 1, c);
  return quoted + '"';
}

// Side by side, the last one over the end of the one before: each costs a walk through all texts that have it, and few
// texts have these but not those between.
std::vector<std::string> CoveringTrigrams(std::string_view word) {
  std::vector<std::size_t> begins;
  for (std::size_t at = 0; at < word.size(); at = NextCharacter(word, at)) begins.push_back(at);
  begins.push_back(word.size());
  const std::size_t count = begins.size() - 1;
  std::vector<std::string> trigrams;
  for (std::size_t at = 0; at < count && trigrams.size() < kMostTrigrams; at += 3) {
    const std::size_t begin = std::min(at, count - 3);
    trigrams.push_back(Quoted(word.substr(begins[begin], begins[begin + 3] - begins[begin])));
  }
  return trigrams;
}

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

std::string TrigramQuery(const std::vector<std::string>& foldedWords) {
  std::unordered_set<std::string> seen;
  std::string query;
  for (const std::string& word : foldedWords) {
    if (seen.size() >= kMostTrigrams || CountCharacters(word) < 3) continue;
    for (const std::string& trigram : CoveringTrigrams(word)) {
      if (seen.insert(trigram).second) query += (query.empty() ? "" : " AND ") + trigram;
    }
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

std::size_t CountCharacters(std::string_view text) {
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), &BeginsCharacter));
}

}  // namespace qvhost
