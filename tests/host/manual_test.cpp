#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <sstream>

#include "tests/host/support/program.h"
#include "tests/support/file_bytes.h"

namespace {

namespace fs = std::filesystem;
using namespace qvtest;

using testing::HasSubstr;

// The long options that a verb's help names.
std::vector<std::string> OptionsInHelp(const std::string& help) {
  std::vector<std::string> options;
  std::istringstream words(help);
  for (std::string word; words >> word;) {
    const std::size_t dashes = word.find("--");
    const bool isName = dashes == 0 || (dashes != word.npos && word[dashes - 1] == ',');
    if (isName)
      options.push_back(word.substr(dashes, word.find_first_not_of("abcdefghijklmnopqrstuvwxyz-", dashes) - dashes));
  }
  return options;
}

class ManualTest : public testing::Test {
 protected:
  static std::string Page(const std::string& name) {
    return ReadTextFile(std::string(QV_MANUAL_FOLDER).append("/man1/").append(name).append(".1"));
  }
  // What the completion offers for the last of these words.
  std::string Complete(const std::vector<std::string>& words) {
    std::vector<std::string> launcher = {"bash", "-c",
                                         "compopt() { :; }; source '" QV_MANUAL_FOLDER
                                         "/bash-completion/qvthumbs'; COMP_WORDS=(qvthumbs \"${@:2}\"); "
                                         "COMP_CWORD=$(($# - 1)); _qvthumbs; echo \"${COMPREPLY[*]}\"",
                                         "bash"};
    return m_program.RunUnder(std::move(launcher), words).out;
  }
  CProgram m_program;
};

TEST_F(ManualTest, EveryVerbHasAPageWithItsOptionsAndExamples) {
  for (const char* verb : {"make", "show", "thumbnail", "info", "gallery", "find", "plate", "import", "stats", "merge",
                           "prune", "verify", "rescue"}) {
    const std::string page = Page(std::string("qvthumbs-").append(verb));
    EXPECT_THAT(page, HasSubstr(".SH SYNOPSIS")) << verb;
    EXPECT_THAT(page, HasSubstr(".SH EXAMPLES")) << verb;
    for (std::string option : OptionsInHelp(m_program.Run({verb, "--help"}).out)) {
      for (std::size_t at = 0; (at = option.find('-', at)) != option.npos; at += 2) option.insert(at, "\\");
      EXPECT_THAT(page, HasSubstr(option)) << verb;
    }
  }
  EXPECT_THAT(Page("qvthumbs"), HasSubstr("qvthumbs\\-history(1)"));
  EXPECT_THAT(Page("qvthumbs-history-list"), HasSubstr("\\-\\-since"));
}

TEST_F(ManualTest, ThePagesAreSoundRoff) {
  if (m_program.RunUnder({"sh", "-c", "command -v groff"}, {}).status != 0) GTEST_SKIP() << "needs groff";
  for (const auto& entry : fs::directory_iterator(QV_MANUAL_FOLDER "/man1")) {
    const SRunResult run =
        m_program.RunUnder({"sh", "-c", "groff -man -ww -Tutf8 -Kutf8 -z \"$1\" 2>&1"}, {entry.path().string()});
    EXPECT_EQ(run.out, "") << entry.path();
  }
}

TEST_F(ManualTest, BashCompletesVerbsOptionsAndValues) {
  EXPECT_EQ(Complete({"thu"}), "thumbnail\n");
  EXPECT_EQ(Complete({"history", "us"}), "users\n");
  EXPECT_EQ(Complete({"make", "--recu"}), "--recursive\n");
  EXPECT_EQ(Complete({"make", "--quality", ""}), "standard high\n");
  EXPECT_EQ(Complete({"show", "--format", "j"}), "jpg\n");
  EXPECT_EQ(Complete({"show", "cel"}), "\n");  // the shell's own completion of files
}

}  // namespace
