#include "platform/imageformats/component/metadata_reader.h"

#include <gtest/gtest.h>

#include <memory>

#include "system/qvref.h"
#include "system/qvstatus.h"
#include "tests/support/experiments.h"

namespace imageformats {
namespace {

using qvtest::NewExperiment;

SImageMetadata Stack() {
  SQvImageInfo info;
  info.width = 20;
  info.sequenceCount = 30;
  SImageMetadata metadata = PlainMetadata(info, "Test", 1);
  metadata.calibration = 0.5;
  metadata.aspect = 2.0;
  metadata.objective = L"20x";
  metadata.acquisitionTime = 2451545.0;
  SLoop time, z;
  time.type = kQvLoopTime;
  time.size = 3;
  time.step = 60.0;
  z.type = kQvLoopZ;
  z.size = 10;
  metadata.loops = {time, z};
  return metadata;
}

TEST(MetadataReader, BuildsTheLoopChain) {
  const CQvRef<IQvMetadataReader> reader(NewMetadataReader(Stack()));
  const auto level = NewExperiment();
  ASSERT_EQ(reader->GetExperiment(level.get(), 0), kQvOk);
  EXPECT_EQ(level->loopType, kQvLoopTime);
  EXPECT_EQ(level->loopSize, 3u);
  EXPECT_EQ(level->step, 60.0);
  ASSERT_EQ(level->subExperiments.size(), 1u);
  EXPECT_EQ(level->subExperiments[0]->loopType, kQvLoopZ);
  EXPECT_EQ(level->subExperiments[0]->loopSize, 10u);
  EXPECT_TRUE(level->subExperiments[0]->subExperiments.empty());
  EXPECT_EQ(reader->GetExperiment(nullptr, 0), kQvFailure);
  EXPECT_EQ(reader->GetExperiment(level.get(), 1), kQvFailure);
}

TEST(MetadataReader, AnswersForEachPicture) {
  const CQvRef<IQvMetadataReader> reader(NewMetadataReader(Stack()));
  SQvPictureMetadata picture;
  ASSERT_EQ(reader->GetPictureMetadata(1, &picture, 0), kQvOk);
  EXPECT_EQ(picture.GetPlaneCount(), 1u);
  EXPECT_EQ(picture.calibration, 0.5);
  EXPECT_EQ(picture.objectiveName, CQvStringW(L"20x"));
  EXPECT_EQ(picture.acquisitionTime, 0.0) << "known of the first picture only";
  EXPECT_EQ(reader->GetPictureMetadata(0, &picture, 0), kQvOk);
  EXPECT_EQ(picture.acquisitionTime, 2451545.0);
  EXPECT_EQ(reader->GetPictureMetadata(29, &picture, 0), kQvOk);
  EXPECT_EQ(reader->GetPictureMetadata(30, &picture, 0), kQvFailure);
  double calibration = 0, aspect = 0, time = 0;
  CQvStringW objective;
  EXPECT_EQ(reader->GetCalibration(0, &calibration, &aspect, &objective), kQvOk);
  EXPECT_EQ(calibration, 0.5);
  EXPECT_EQ(aspect, 2.0);
  EXPECT_EQ(objective, CQvStringW(L"20x"));
  EXPECT_EQ(reader->GetAcquisitionTime(&time), kQvOk);
  EXPECT_EQ(time, 2451545.0);
}

TEST(MetadataReader, WhatIsUnknownIsRefusedAndTheObjectiveGivenAllTheSame) {
  SImageMetadata metadata = Stack();
  metadata.calibration = metadata.acquisitionTime = 0.0;
  metadata.loops.clear();
  const CQvRef<IQvMetadataReader> reader(NewMetadataReader(metadata));
  double calibration = 7, aspect = 7, time = 7;
  CQvStringW objective;
  EXPECT_EQ(reader->GetCalibration(0, &calibration, &aspect, &objective), kQvFailure);
  EXPECT_EQ(calibration, 7);
  EXPECT_EQ(aspect, 7);
  EXPECT_EQ(objective, CQvStringW(L"20x"));
  EXPECT_EQ(reader->GetAcquisitionTime(&time), kQvFailure);
  EXPECT_EQ(time, 7);
  const auto level = NewExperiment();
  EXPECT_EQ(reader->GetExperiment(level.get(), kQvOk), kQvFailure);
  EXPECT_EQ(level->loopType, kQvLoopNone);
}

TEST(MetadataReader, NullPlacesAreRefused) {
  const CQvRef<IQvMetadataReader> reader(NewMetadataReader(Stack()));
  EXPECT_EQ(reader->GetImageInfo(nullptr), kQvFailure);
  EXPECT_EQ(reader->GetTextInfo(nullptr), kQvFailure);
  EXPECT_EQ(reader->GetPictureMetadata(0, nullptr, 0), kQvFailure);
  EXPECT_EQ(reader->GetAcquisitionTime(nullptr), kQvFailure);
  EXPECT_EQ(reader->GetCalibration(0, nullptr, nullptr, nullptr), kQvFailure);
}

}  // namespace
}  // namespace imageformats
