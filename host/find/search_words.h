#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/find/folding.h"

namespace qvhost {

// Words that are searched for: each any part of a text, folded, blanks inside allowed.

// The words of a typed line: between blanks, or between quotation marks.
std::vector<std::string> WordsOfLine(std::string_view line);

// Folded; those of which nothing is left are left out.
std::vector<std::string> FoldWords(const CFolding& folding, const std::vector<std::string>& words);

// What an index of trigrams is asked for: texts with all of the words are among its answers, and few others. Empty when
// no word has three characters, so that all texts are. Nothing in a word is taken for the query's own syntax. `sample`,
// some of the texts, tells which trigrams are worth it; the answers do not depend on it.
std::string TrigramQuery(const std::vector<std::string>& foldedWords, const std::vector<std::string>& sample);

// The same for folded words of two characters, each of which is in whichever of its trigrams: those that begin with it,
// of each word. One without any is in no text.
std::string PairQuery(const std::vector<std::vector<std::string>>& trigramsOfWords);

// Characters of a UTF-8 text.
std::size_t CountCharacters(std::string_view text);
// Behind the character that begins there.
std::size_t NextCharacter(std::string_view text, std::size_t at);

}  // namespace qvhost
