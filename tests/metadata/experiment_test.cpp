#include <gtest/gtest.h>

#include <bit>

#include "metadata/qvexperiment.h"
#include "system/qvstatus.h"
#include "tests/metadata/random_metadata.h"

namespace {

using namespace qvtest;

CExperiment Chain(unsigned levels) {
  CExperiment top = NewExperiment(kQvLoopZ, 1);
  SQvExperiment* level = top.get();
  for (unsigned i = 1; i < levels; ++i) {
    level->subExperiments.push_back(NewExperiment(kQvLoopZ, i + 1).release());
    level = level->subExperiments.back();
  }
  return top;
}

// Time, stage positions, z, channels: the chain of a usual acquisition.
CExperiment UsualChain(std::uint32_t times, std::uint32_t positions, std::uint32_t slices, std::uint32_t channels) {
  CExperiment time = NewExperiment(kQvLoopTime, times, 30.0);
  CExperiment stage = NewExperiment(kQvLoopXYPosition, positions);
  for (std::uint32_t i = 0; i < positions; ++i) {
    stage->positions.push_back({100.0 * i, -50.0 * i, 12.5, CQvStringW(L"Well " + std::to_wstring(i + 1))});
  }
  CExperiment z = NewExperiment(kQvLoopZ, slices, 0.3);
  CExperiment lambda = NewExperiment(kQvLoopLambda, channels);
  for (std::uint32_t i = 0; i < channels; ++i) {
    lambda->channels.push_back({CQvStringW(L"Channel " + std::to_wstring(i)), 0xFFu << (8 * (i % 3)), 488, 525, 20});
  }
  z->subExperiments.push_back(lambda.release());
  stage->subExperiments.push_back(z.release());
  time->subExperiments.push_back(stage.release());
  return time;
}

CExperiment RoundTrip(const CExperiment& experiment) {
  CExperiment read = NewExperiment();
  EXPECT_EQ(Deserialize(Serialize(experiment.get()), read.get()), 0);
  return read;
}

TEST(Experiment, AllocAndFree) {
  SQvExperiment* experiment = nullptr;
  SQvExperiment::Alloc(&experiment);
  ASSERT_NE(experiment, nullptr);
  EXPECT_EQ(experiment->loopType, kQvLoopNone);
  EXPECT_EQ(experiment->loopSize, 0u);
  EXPECT_TRUE(experiment->subExperiments.empty());
  SQvExperiment::FreeRecursive(experiment);
  SQvExperiment::FreeRecursive(nullptr);
  SQvExperiment::Alloc(nullptr);
}

TEST(Experiment, FreesChainsThatWouldOverflowTheStack) { Chain(500'000).reset(); }

TEST(Experiment, FreesTreesWithNullsAndBranches) {
  CRandomMetadata random(3);
  for (int i = 0; i < 100; ++i) {
    CExperiment tree = random.Experiment(30);
    tree->subExperiments.insert(tree->subExperiments.begin(), nullptr);
    tree->subExperiments.push_back(nullptr);
  }
}

TEST(Experiment, UsualChainReadsBack) {
  const CExperiment chain = UsualChain(1000, 100, 50, 4);
  const CExperiment read = RoundTrip(chain);
  EXPECT_TRUE(SQvExperiment::IsEqual(chain.get(), read.get(), true, true));
  const SQvExperiment* stage = read->subExperiments.at(0);
  EXPECT_EQ(stage->positions.at(99).name, CQvStringW(L"Well 100"));
  EXPECT_EQ(stage->positions.at(99).x, 9900.0);
  const SQvExperiment* lambda = stage->subExperiments.at(0)->subExperiments.at(0);
  EXPECT_EQ(lambda->channels.at(1).color, 0xFF00u);
  EXPECT_EQ(lambda->channels.at(3).emissionWavelength, 525.0);
  EXPECT_LT(Serialize(chain.get()).size(), 5000u);
}

TEST(Experiment, NullSubExperimentsKeepTheirPlaces) {
  CExperiment top = NewExperiment(kQvLoopTime, 3);
  top->subExperiments = {nullptr, NewExperiment(kQvLoopZ, 5).release(), nullptr};
  const CExperiment read = RoundTrip(top);
  ASSERT_EQ(read->subExperiments.size(), 3u);
  EXPECT_EQ(read->subExperiments[0], nullptr);
  EXPECT_EQ(read->subExperiments[1]->loopSize, 5u);
  EXPECT_EQ(read->subExperiments[2], nullptr);
}

TEST(Experiment, DepthIsLimited) {
  EXPECT_FALSE(Serialize(Chain(32).get()).empty());
  EXPECT_TRUE(SQvExperiment::IsEqual(Chain(32).get(), RoundTrip(Chain(32)).get(), true, true));
  const CExperiment deep = Chain(33);
  CQvLiteVariantW writer;
  EXPECT_EQ(SQvExperiment::SaveToLiteVariant(writer, deep.get()), kQvFailure);
  EXPECT_EQ(SQvExperiment::SaveToLiteVariant(writer, nullptr), kQvFailure);
  writer.WriteBool(L"only", true);  // nothing of the refused trees may be there
  CQvLiteVariantR reader, expected;
  CQvLiteVariantW one;
  one.WriteBool(L"only", true);
  ASSERT_EQ(writer.Finalize(reader, 0), 0);
  ASSERT_EQ(one.Finalize(expected, 0), 0);
  EXPECT_EQ(reader.Bytes().GetSize(), expected.Bytes().GetSize());
  EXPECT_EQ(CQvExperimentAPI::GetExperimentHash(deep.get()), 0u);
}

TEST(Experiment, DeeperLevelsThanAllowedAreRefusedOnReading) {
  CQvLiteVariantW writer;
  writer.LevelBegin(L"X");
  writer.WriteUInt(L"V", 1);
  for (int depth = 1; depth <= 33; ++depth) {
    if (depth > 1) writer.LevelBegin(L"E");
    writer.WriteUInt(L"T", 4);
    writer.WriteUInt(L"N", 1);
    writer.WriteDouble(L"S", 0);
  }
  for (int depth = 1; depth <= 33; ++depth) writer.LevelEnd();
  CQvLiteVariantR reader;
  ASSERT_EQ(writer.Finalize(reader, 0), 0);
  CExperiment read = NewExperiment();
  EXPECT_EQ(SQvExperiment::LoadFromLiteVariant(read.get(), reader), kQvFailure);
  EXPECT_TRUE(read->subExperiments.empty());
}

TEST(Experiment, LoadReplacesWhatWasThere) {
  const auto bytes = Serialize(NewExperiment(kQvLoopZ, 7, 0.5).get());
  CExperiment target = UsualChain(2, 3, 4, 2);
  ASSERT_EQ(Deserialize(bytes, target.get()), 0);
  EXPECT_TRUE(SQvExperiment::IsEqual(target.get(), NewExperiment(kQvLoopZ, 7, 0.5).get(), true, true));
}

TEST(Experiment, FailedLoadEmptiesTheLevel) {
  CExperiment target = UsualChain(2, 3, 4, 2);
  EXPECT_EQ(Deserialize({}, target.get()), kQvFailure);
  EXPECT_TRUE(SQvExperiment::IsEqual(target.get(), NewExperiment().get(), true, true));
  CQvLiteVariantR reader;
  EXPECT_EQ(SQvExperiment::LoadFromLiteVariant(nullptr, reader), kQvFailure);
}

TEST(Experiment, LivesInsideALevelOfTheCaller) {
  const CExperiment chain = UsualChain(5, 2, 3, 2);
  CQvLiteVariantW writer;
  writer.LevelBegin(L"mine");
  ASSERT_EQ(SQvExperiment::SaveToLiteVariant(writer, chain.get()), 0);
  writer.LevelEnd();
  CQvLiteVariantR reader;
  ASSERT_EQ(writer.Finalize(reader, 0), 0);
  ASSERT_EQ(reader.LevelBegin(L"mine", nullptr), 0);
  CExperiment read = NewExperiment();
  EXPECT_EQ(SQvExperiment::LoadFromLiteVariant(read.get(), reader), 0);
  EXPECT_EQ(reader.LevelEnd(), 0);
  EXPECT_TRUE(SQvExperiment::IsEqual(chain.get(), read.get(), true, true));
}

TEST(Experiment, EqualityOfNulls) {
  const CExperiment one = NewExperiment();
  EXPECT_TRUE(SQvExperiment::IsEqual(nullptr, nullptr, true, true));
  EXPECT_FALSE(SQvExperiment::IsEqual(one.get(), nullptr, false, false));
  EXPECT_FALSE(SQvExperiment::IsEqual(nullptr, one.get(), false, false));
}

TEST(Experiment, EqualityFlagsSelectWhatIsCompared) {
  const CExperiment a = UsualChain(10, 3, 5, 2), b = UsualChain(10, 3, 5, 2);
  b->step = 31;
  EXPECT_TRUE(SQvExperiment::IsEqual(a.get(), b.get(), false, true));
  EXPECT_FALSE(SQvExperiment::IsEqual(a.get(), b.get(), true, false));
  b->step = a->step;
  b->subExperiments[0]->subExperiments[0]->loopSize = 6;
  EXPECT_TRUE(SQvExperiment::IsEqual(a.get(), b.get(), true, false));
  EXPECT_FALSE(SQvExperiment::IsEqual(a.get(), b.get(), false, true));
  b->loopType = kQvLoopTimeManual;
  EXPECT_FALSE(SQvExperiment::IsEqual(a.get(), b.get(), false, false));
}

TEST(Experiment, EqualityComparesDoublesByTheirBits) {
  const CExperiment plus = NewExperiment(kQvLoopZ, 1, 0.0), minus = NewExperiment(kQvLoopZ, 1, -0.0);
  EXPECT_FALSE(SQvExperiment::IsEqual(plus.get(), minus.get(), true, true));
  const double nan = std::bit_cast<double>(0x7FF8000000001234u);
  EXPECT_TRUE(
      SQvExperiment::IsEqual(NewExperiment(kQvLoopZ, 1, nan).get(), NewExperiment(kQvLoopZ, 1, nan).get(), true, true));
}

TEST(Experiment, EqualityWalksDeepChainsWithoutTheStack) {
  const CExperiment a = Chain(300'000), b = Chain(300'000), c = Chain(299'999);
  EXPECT_TRUE(SQvExperiment::IsEqual(a.get(), b.get(), true, true));
  EXPECT_FALSE(SQvExperiment::IsEqual(a.get(), c.get(), true, true));
  EXPECT_EQ(CQvExperimentAPI::GetExperimentHash(a.get()), 0u);
}

TEST(Experiment, LoopSize) {
  EXPECT_EQ(CQvExperimentAPI::GetLoopSize(nullptr), 0u);
  EXPECT_EQ(CQvExperimentAPI::GetLoopSize(NewExperiment(kQvLoopTime, 12).get()), 12u);
  for (const std::uint32_t type : {kQvLoopXYPosition, kQvLoopXYMosaic, kQvLoopLambda, kQvLoopZ}) {
    CExperiment level = NewExperiment(type);
    level->positions.resize(5);
    level->channels.resize(3);
    const std::uint32_t expected = type == kQvLoopZ ? 0 : type == kQvLoopLambda ? 3 : 5;
    EXPECT_EQ(CQvExperimentAPI::GetLoopSize(level.get()), expected);
    level->loopSize = 9;
    EXPECT_EQ(CQvExperimentAPI::GetLoopSize(level.get()), 9u);
  }
}

TEST(Experiment, HashOfNullIsZero) { EXPECT_EQ(CQvExperimentAPI::GetExperimentHash(nullptr), 0u); }

}  // namespace
