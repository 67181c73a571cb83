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
// no word has three characters, so that all texts are. Nothing in a word is taken for the query's own syntax.
std::string TrigramQuery(const std::vector<std::string>& foldedWords);

// The same for folded words of two characters, each of which is in whichever of its trigrams: those that begin with it,
// of each word. One without any is in no text.
std::string PairQuery(const std::vector<std::vector<std::string>>& trigramsOfWords);

// Characters of a UTF-8 text.
std::size_t CountCharacters(std::string_view text);

}  // namespace qvhost
