#include <gtest/gtest.h>

#include <map>
#include <string>

#include "tests/host/support/program.h"
#include "tests/support/samples.h"
#include "tests/support/sql.h"

namespace {

using namespace qvtest;

// The folder of real images as a user has it made, against the table of what has to become of each.
TEST(RealImagesTest, AreMadeOrRefusedWithTheirReasonsAndLeaveWholeRowsOnly) {
  const std::string folder = SamplesFolder();
  if (folder.empty()) GTEST_SKIP() << "the sample files are not here";
  std::map<std::string, std::string> refused;
  int made = 0;
  for (const SSampleOutcome& expected : ReadSampleOutcomes()) {
    if (expected.file.ends_with(".ome")) continue;  // no image by its name, so not looked at in a folder
    if (expected.outcome == "made") {
      ++made;
    } else {
      refused[folder + "/" + expected.file] = expected.detail;
    }
  }
  CProgram program;
  const SRunResult run = program.RunWithDatabase({"make", "--recursive", "--json", folder});
  EXPECT_EQ(run.status, 1);
  const nlohmann::json report = run.Json();
  EXPECT_EQ(report["made"], made);
  EXPECT_EQ(report["failed"], refused.size());
  for (const auto& failure : report["failures"]) {
    const auto expected = refused.find(failure["file"]);
    ASSERT_NE(expected, refused.end()) << failure;
    EXPECT_EQ(std::string(failure["reason"]).find(expected->second), 0u) << failure;
  }
  EXPECT_EQ(QueryInt(program.Database(), "SELECT count(*) FROM cache WHERE length(binData) > 0"), made);
  EXPECT_EQ(QueryInt(program.Database(), "SELECT count(*) FROM cache"), made);
  EXPECT_EQ(program.RunWithDatabase({"verify"}).status, 0);
}

}  // namespace
