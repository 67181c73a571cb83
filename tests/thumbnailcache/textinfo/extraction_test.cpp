#include "tests/thumbnailcache/textinfo/textinfo_test.h"

namespace qvtest {
namespace {

using standin::SFile;
using standin::SLoop;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Without a database, so that every answer comes from the file.
class ExtractionTest : public ServiceTest {
 protected:
  STextInfo Read(const SFile& file, std::int32_t expected = 0) {
    const std::wstring path = MakeFile("a.tif", file);
    STextInfo all;
    EXPECT_EQ(all.Read(Cache(), path), expected);
    return all;
  }
  std::vector<std::uint32_t> Loops(std::vector<SLoop> loops, std::uint32_t planes = 0) {
    SFile file;
    file.metadata.loops = std::move(loops);
    file.metadata.planeCount = planes;
    return Read(file).Loops();
  }
};

TEST_F(ExtractionTest, EverythingIsFilled) {
  SFile file(123, 45);
  file.info.compressionParam = 0.75;
  file.info.compression = 2;
  file.info.sequenceCount = 7;
  file.metadata.calibration = 0.25;
  file.metadata.objective = L"Plan Apo 60x";
  file.metadata.acquisitionTime = 2450000.5;
  file.metadata.fileSize = 1LL << 40;
  file.metadata.planeCount = 3;
  const auto texts = Texts(file.metadata.text);
  for (std::size_t i = 0; i < texts.size(); ++i) *texts[i] = L"text " + std::to_wstring(i);
  STextInfo all = Read(file);
  EXPECT_EQ(all.info.width, 123u);
  EXPECT_EQ(all.info.height, 45u);
  EXPECT_EQ(all.info.compressionParam, 0.75);
  EXPECT_EQ(all.info.sequenceCount, 7u);
  EXPECT_EQ(all.calibration, 0.25);
  EXPECT_EQ(all.objective.Str(), L"Plan Apo 60x");
  EXPECT_EQ(all.acqTime, 2450000.5);
  EXPECT_EQ(all.fileSize, 1LL << 40);
  EXPECT_THAT(all.Loops(), ElementsAre(0, 0, 0, 3));
  const auto read = Texts(all.text);
  for (std::size_t i = 0; i < read.size(); ++i) EXPECT_EQ(read[i]->Str(), L"text " + std::to_wstring(i));
}

TEST_F(ExtractionTest, CallsComeInOrder) {
  const std::wstring path = MakeFile("a.tif");
  Script().RecordCalls(true);
  CPlatformSpy::Record(true);
  STextInfo all;
  EXPECT_EQ(all.Read(Cache(), path), 0);
  EXPECT_THAT(
      Script().TakeCalls(),
      ElementsAre("OpenImageFile " + Utf8(path), "Manager.Release", "File.GetMetadataReader " + Utf8(path),
                  "File.GetFileSize " + Utf8(path), "File.Release", "GetImageInfo", "GetTextInfo", "GetCalibration 0",
                  "GetPictureMetadata 0 0", "GetAcquisitionTime", "GetExperiment 0", "Destroy"));
  EXPECT_THAT(CPlatformSpy::TakeCalls({"CreateAndQuery", "Release"}),
              ElementsAre("CreateAndQuery CQvImageFormatManagerImpl IQvImageFormatManager no file -1",
                          "Release CQvImageFormatManagerImpl", "Release CQvStandInFile"));
}

TEST_F(ExtractionTest, FileThatCannotBeOpenedLeavesTheOutputs) {
  SFile file;
  file.metadata.openResult = -9;
  STextInfo all = Read(file, -9);
  EXPECT_EQ(all.calibration, -1.0);
  EXPECT_EQ(all.acqTime, -1.0);
  EXPECT_EQ(all.fileSize, -1);
  EXPECT_THAT(all.Loops(), ElementsAre(91, 92, 93, 94));
}

TEST_F(ExtractionTest, FileWithoutAReaderGivesItsSizeOnly) {
  SFile file;
  file.metadata.readerResult = -9;
  STextInfo all = Read(file, -9);
  EXPECT_EQ(all.fileSize, 1234);
  EXPECT_EQ(all.calibration, -1.0);
  EXPECT_THAT(all.Loops(), ElementsAre(91, 92, 93, 94));
}

TEST_F(ExtractionTest, FileWithoutGeometryResetsTheOutputs) {
  SFile file;
  file.metadata.infoResult = -3;
  file.metadata.text.author = L"not read";
  const std::wstring path = MakeFile("a.tif", file);
  STextInfo all;
  all.info.width = 5;
  all.info.compressionParam = 1.0;
  all.text.author = L"old";
  all.objective = L"old";
  Script().RecordCalls(true);
  EXPECT_EQ(all.Read(Cache(), path), -9);
  EXPECT_EQ(all.info.width, 0u);
  EXPECT_EQ(all.info.compressionParam, 0.0);
  EXPECT_TRUE(all.text.author.IsEmpty());
  EXPECT_THAT(all.Loops(), ElementsAre(0, 0, 0, 0));
  EXPECT_EQ(all.calibration, -1.0) << "nothing else is filled";
  EXPECT_EQ(all.objective.Str(), L"old");
  const auto calls = Script().TakeCalls();
  EXPECT_EQ(calls.back(), "Destroy");
  EXPECT_EQ(calls[calls.size() - 2], "GetImageInfo");
}

TEST_F(ExtractionTest, FailedTextsLeaveAnEmptyRecord) {
  SFile file;
  file.metadata.textResult = -9;
  const std::wstring path = MakeFile("a.tif", file);
  STextInfo all;
  all.text.author = L"old";
  EXPECT_EQ(all.Read(Cache(), path), 0);
  EXPECT_TRUE(all.text.author.IsEmpty());
}

TEST_F(ExtractionTest, FailedCalibrationBecomesThePicturesOrZero) {
  SFile file;
  file.metadata.calibrationResult = -9;
  file.metadata.calibration = 3.0;
  file.metadata.objective = L"40x";
  STextInfo all = Read(file);
  EXPECT_EQ(all.calibration, 0.0);
  EXPECT_EQ(all.objective.Str(), L"40x") << "the objective keeps what the call left";
  file.metadata.pictureCalibration = 0.5;
  EXPECT_EQ(Read(file).calibration, 0.5);
}

TEST_F(ExtractionTest, ReadersCalibrationWinsUnlessItIsZero) {
  SFile file;
  file.metadata.calibration = 0.25;
  file.metadata.pictureCalibration = 0.5;
  EXPECT_EQ(Read(file).calibration, 0.25);
  file.metadata.calibration = 0.0;
  EXPECT_EQ(Read(file).calibration, 0.5);
  file.metadata.pictureMetadataResult = -9;
  EXPECT_EQ(Read(file).calibration, 0.0);
}

TEST_F(ExtractionTest, FailedTimeAndExperimentGiveZero) {
  SFile file;
  file.metadata.acquisitionTimeResult = -9;
  file.metadata.acquisitionTime = 3.0;
  file.metadata.experimentResult = -9;
  file.metadata.loops = {{kQvLoopTime, 10}};
  const STextInfo all = Read(file);
  EXPECT_EQ(all.acqTime, 0.0);
  EXPECT_THAT(all.Loops(), ElementsAre(0, 0, 0, 0));
}

TEST_F(ExtractionTest, LoopTypesAreGrouped) {
  for (const std::uint32_t type : {kQvLoopTime, kQvLoopTimePhases, kQvLoopTimeManual})
    EXPECT_THAT(Loops({{type, 5}}), ElementsAre(5, 0, 0, 0)) << type;
  for (const std::uint32_t type : {kQvLoopZ, kQvLoopZManual})
    EXPECT_THAT(Loops({{type, 5}}), ElementsAre(0, 5, 0, 0)) << type;
  for (const std::uint32_t type : {kQvLoopXYPosition, kQvLoopXYMosaic})
    EXPECT_THAT(Loops({{type, 5}}), ElementsAre(0, 0, 5, 0)) << type;
  EXPECT_THAT(Loops({{kQvLoopLambda, 5}}), ElementsAre(0, 0, 0, 5));
  for (const std::uint32_t type :
       {std::uint32_t{kQvLoopNone}, std::uint32_t{kQvLoopPolar}, std::uint32_t{kQvLoopCustom}, 11u, 0xFFFFFFFFu})
    EXPECT_THAT(Loops({{type, 5}}), ElementsAre(0, 0, 0, 0)) << type;
}

TEST_F(ExtractionTest, WholeChainIsWalked) {
  EXPECT_THAT(Loops({{kQvLoopTime, 100},
                     {kQvLoopXYPosition, 20},
                     {kQvLoopPolar, 9},
                     {kQvLoopZ, 30},
                     {kQvLoopLambda, 4},
                     {kQvLoopCustom, 2}}),
              ElementsAre(100, 30, 20, 4));
}

TEST_F(ExtractionTest, InnerLevelOfAKindWinsButTheOuterLambda) {
  EXPECT_THAT(Loops({{kQvLoopTime, 10}, {kQvLoopTimePhases, 20}}), ElementsAre(20, 0, 0, 0));
  EXPECT_THAT(Loops({{kQvLoopZ, 10}, {kQvLoopZManual, 20}}), ElementsAre(0, 20, 0, 0));
  EXPECT_THAT(Loops({{kQvLoopXYMosaic, 10}, {kQvLoopXYPosition, 20}}), ElementsAre(0, 0, 20, 0));
  EXPECT_THAT(Loops({{kQvLoopTime, 10}, {kQvLoopTimeManual, 0}}), ElementsAre(0, 0, 0, 0))
      << "also when the inner one has no steps";
  EXPECT_THAT(Loops({{kQvLoopLambda, 10}, {kQvLoopLambda, 20}}), ElementsAre(0, 0, 0, 10));
  EXPECT_THAT(Loops({{kQvLoopLambda, 0}, {kQvLoopLambda, 20}}), ElementsAre(0, 0, 0, 20));
}

TEST_F(ExtractionTest, PlaneCountOfThePictureWinsOverTheLambdaLoop) {
  EXPECT_THAT(Loops({{kQvLoopLambda, 10}}, 3), ElementsAre(0, 0, 0, 3));
  EXPECT_THAT(Loops({{kQvLoopLambda, 10}}, 0), ElementsAre(0, 0, 0, 10));
}

TEST_F(ExtractionTest, WalkEndsAtANullSubExperiment) {
  SFile file;
  file.metadata.loops = {{kQvLoopTime, 10}};
  file.metadata.nullSubExperiment = true;
  EXPECT_THAT(Read(file).Loops(), ElementsAre(10, 0, 0, 0));
}

TEST_F(ExtractionTest, MissingManagerFails) {
  for (const bool impostor : {false, true}) {
    Script().FailFactory(!impostor, impostor);
    EXPECT_EQ(Read(SFile(), -9).fileSize, -1);
  }
}

TEST_F(ExtractionTest, NothingIsReported) {
  SFile file;
  file.metadata.infoResult = -9;
  Read(file, -9);
  EXPECT_THAT(m_diag.Take(), IsEmpty());
}

}  // namespace
}  // namespace qvtest
