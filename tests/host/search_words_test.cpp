#include "host/find/search_words.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace qvhost;

using testing::ElementsAre;
using testing::IsEmpty;

TEST(FoldingTest, LeavesNoCaseNoAccentsAndSingleBlanks) {
  const CFolding fold;
  EXPECT_EQ(fold("  Zürich\n\tÉcole\x01 e\xCC\x81t\xC3\xA9 "), "zurich ecole ete");
  EXPECT_EQ(fold("ŁÓDŹ 5 µM 日本語"), "łodz 5 μm 日本語");
  EXPECT_EQ(fold("a_b-c.d/\"*"), "a_b-c.d/\"*");
  EXPECT_EQ(fold(std::string_view("a\0b", 3)), "a b");
  EXPECT_EQ(fold(""), "");
}

TEST(SearchWordsTest, WordsOfALineStandBetweenBlanksOrQuotes) {
  EXPECT_THAT(WordsOfLine("  one  two\tthree "), ElementsAre("one", "two", "three"));
  EXPECT_THAT(WordsOfLine("\"two words\" x\"y z\""), ElementsAre("two words", "x", "y z"));
  EXPECT_THAT(WordsOfLine("open \"quote"), ElementsAre("open", "quote"));
  EXPECT_THAT(WordsOfLine("\"\" \""), IsEmpty());
  EXPECT_THAT(WordsOfLine(""), IsEmpty());
}

TEST(SearchWordsTest, WordsOfWhichNothingIsLeftAreNone) {
  EXPECT_THAT(FoldWords(CFolding(), {"", "\x01", " ", "A"}), ElementsAre("a"));
}

TEST(SearchWordsTest, TrigramsCoverTheWords) {
  EXPECT_EQ(TrigramQuery({"abc"}, {}), "\"abc\"");
  EXPECT_EQ(TrigramQuery({"abcd"}, {}), "\"abc\" AND \"bcd\"");
  EXPECT_EQ(TrigramQuery({"abcdef"}, {}), "\"abc\" AND \"def\" AND \"bcd\" AND \"cde\"");
  EXPECT_EQ(TrigramQuery({"aaaaa", "aaa"}, {}), "\"aaa\"");
  EXPECT_EQ(TrigramQuery({"日本語x"}, {}), "\"日本語\" AND \"本語x\"");
  EXPECT_EQ(TrigramQuery({"a\"b*"}, {}), "\"a\"\"b\" AND \"\"\"b*\"");
}

TEST(SearchWordsTest, OnlyTrigramsThatLeaveTextsOutAreAskedFor) {
  std::vector<std::string> sample;
  for (int i = 0; i < 100; ++i) sample.push_back("hela cells " + std::to_string(1000 + i) + (i % 2 ? " odd" : " even"));
  EXPECT_EQ(TrigramQuery({"hela", "cells 1017"}, sample), "\"017\"");
  EXPECT_EQ(TrigramQuery({"hela cells"}, sample), "\"hel\"");
  EXPECT_EQ(TrigramQuery({"hela", "odd", "s 10"}, sample), "\"odd\"");
  EXPECT_EQ(TrigramQuery({"hela", "odd", "103"}, sample), "\"103\" AND \"odd\"");
  EXPECT_EQ(TrigramQuery({"hela", "yeast"}, sample), "\"yea\" AND \"ast\" AND \"eas\"");
}

TEST(SearchWordsTest, ShortWordsAskForNothing) {
  EXPECT_EQ(TrigramQuery({"a", "bc", "日本"}, {}), "");
  EXPECT_EQ(TrigramQuery({}, {}), "");
}

TEST(SearchWordsTest, VeryLongWordsAskForTheirFirstPart) {
  std::string word;
  for (int i = 0; i < 10000; ++i) word += std::to_string(i);
  EXPECT_LT(TrigramQuery({word, word + "x"}, {}).size(), 1000u);
  EXPECT_EQ(TrigramQuery({word.substr(0, 200)}, {}), TrigramQuery({word}, {}));
}

}  // namespace
