#include <gtest/gtest.h>

#include <bit>
#include <string>

#include "tests/support/experiments.h"
#include "tests/support/file_bytes.h"

// Bytes that an earlier build stored must stay readable, and equal metadata must go on hashing to what the rows hold.

namespace {

using namespace qvtest;

std::vector<std::uint8_t> ReadGolden(const std::string& name) { return ReadFile(QV_GOLDEN_FOLDER "/" + name); }

CExperiment GoldenExperiment() {
  CExperiment time = NewExperiment(kQvLoopTimePhases, 1000, 2.5);
  CExperiment stage = NewExperiment(kQvLoopXYPosition, 3);
  stage->positions = {{1.5, -2.25, 1e-9, L"B\u00fchne 1"}, {-0.0, 1e300, 0.1, L""}, {3, 4, 5, L"\U0001F52C"}};
  CExperiment z = NewExperiment(kQvLoopZ, 51, 0.3);
  z->positions = {{0, 0, std::bit_cast<double>(0x7FF8000000000001u), L""}};
  CExperiment lambda = NewExperiment(kQvLoopLambda, 2);
  lambda->channels = {{L"DAPI", 0x0000FF, 405, 450, 12.5}, {L"\u03b1-tubulin", 0x00FF00, 488, 525, 0}};
  z->subExperiments = {lambda.release(), nullptr};
  stage->subExperiments = {nullptr, z.release(), NewExperiment(0xFFFFFFFF, 0xFFFFFFFF, -1).release()};
  time->subExperiments = {stage.release()};
  return time;
}

SQvPicturePlanes GoldenPlanes() {
  SQvPicturePlanes planes;
  planes.planes = {{L"DAPI", 0x0000FF, 405, 450, kQvModalityConfocal, 1},
                   {L"Phase \u00d7 20", 0xFFFFFF, 0, -0.0, kQvModalityPhaseContrast, 3}};
  return planes;
}

TEST(Golden, ExperimentBytesAndHashAreStable) {
  const auto golden = ReadGolden("experiment_v1.bin");
  ASSERT_FALSE(golden.empty());
  const CExperiment experiment = GoldenExperiment();
  EXPECT_EQ(Serialize(experiment.get()), golden);
  CExperiment read = NewExperiment();
  ASSERT_EQ(Deserialize(golden, read.get()), 0);
  EXPECT_TRUE(SQvExperiment::IsEqual(experiment.get(), read.get(), true, true));
  EXPECT_EQ(CQvExperimentAPI::GetExperimentHash(experiment.get()), 0x1EB375DFu);
}

TEST(Golden, PlanesBytesAndHashAreStable) {
  const auto golden = ReadGolden("planes_v1.bin");
  ASSERT_FALSE(golden.empty());
  EXPECT_EQ(Serialize(GoldenPlanes()), golden);
  SQvPicturePlanes read;
  ASSERT_EQ(Deserialize(golden, &read), 0);
  EXPECT_EQ(Serialize(read), golden);
  unsigned int hash = 0x12345678;
  EXPECT_EQ(GoldenPlanes().GetHash(hash), 0);
  EXPECT_EQ(hash, 0x35535B95u);
}

}  // namespace
