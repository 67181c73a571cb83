#include <gtest/gtest.h>

#include "metadata/qvexperiment.h"
#include "tests/metadata/random_metadata.h"

namespace {

using namespace qvtest;

void CheckRoundTrip(CRandomMetadata& random, const SQvExperiment* original) {
  const auto bytes = Serialize(original);
  ASSERT_FALSE(bytes.empty());
  CExperiment read = NewExperiment();
  ASSERT_EQ(Deserialize(bytes, read.get()), 0);
  ASSERT_TRUE(SQvExperiment::IsEqual(original, read.get(), true, true));
  ASSERT_EQ(Serialize(read.get()), bytes);
  ASSERT_EQ(CQvExperimentAPI::GetExperimentHash(read.get()), CQvExperimentAPI::GetExperimentHash(original));
  random.Change(read.get());
  ASSERT_FALSE(SQvExperiment::IsEqual(original, read.get(), true, true));
  ASSERT_NE(Serialize(read.get()), bytes);
}

TEST(RandomExperiments, ReadBackEqualAndDifferAfterAnyChange) {
  CRandomMetadata random(1);
  for (int i = 0; i < 10000; ++i) {
    CheckRoundTrip(random, random.Experiment().get());
    if (testing::Test::HasFatalFailure()) FAIL() << "experiment " << i;
  }
}

// CRC-32 finds every change of up to 32 neighbouring bits, so one changed 32-bit field always changes the hash.
TEST(RandomExperiments, ChangedLoopSizeChangesTheHash) {
  CRandomMetadata random(2);
  for (int i = 0; i < 1000; ++i) {
    const CExperiment experiment = random.Experiment();
    const std::uint32_t before = CQvExperimentAPI::GetExperimentHash(experiment.get());
    experiment->loopSize ^= 1 + random.Below(0xFFFFFFFF);
    ASSERT_NE(CQvExperimentAPI::GetExperimentHash(experiment.get()), before);
  }
}

}  // namespace
