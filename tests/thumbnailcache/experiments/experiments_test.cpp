#include <algorithm>
#include <functional>
#include <memory>
#include <random>

#include "tests/support/experiments.h"
#include "tests/thumbnailcache/support/service_test.h"

namespace qvtest {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

const std::string kLookup = "SELECT liteVariant, storedID, experimentID FROM experiments WHERE hashCRC = :HC";
const std::string kUpdate = "UPDATE experiments SET M_acqTime = :AT, storedID = :SI WHERE experimentID = :EI";
const std::string kInsert =
    "INSERT INTO experiments (M_acqTime, liteVariant, picturePlanes, storedID, hashCRC) VALUES (:AT, :LV, :PP, :SI, "
    ":HC)";
const std::string kRead = "SELECT M_acqTime, liteVariant, picturePlanes FROM experiments WHERE experimentID = :EI";
const std::string kByStored = "SELECT experimentID FROM experiments WHERE storedID = :SI";

SQvPicturePlanes MakePlanes(const wchar_t* name) {
  SQvPicturePlanes planes;
  planes.planes.resize(1);
  planes.planes[0].name = name;
  return planes;
}

class ExperimentsTest : public ServiceTest {
 protected:
  void SetUp() override {
    ServiceTest::SetUp();
    ASSERT_EQ(Open(), 0);
    CSqliteSpy::Clear();
  }
  int Write(const SQvExperiment* experiment, const SQvPicturePlanes* planes = nullptr, double time = 1.0,
            int stored = -1) {
    int id = -77;
    EXPECT_EQ(Cache().WriteExperiment(experiment, planes, time, stored, &id), 0);
    return id;
  }
  std::vector<std::string> Rows() {
    return CSql(DatabaseFile()).Rows("SELECT experimentID, M_acqTime, storedID FROM experiments ORDER BY experimentID");
  }
};

TEST_F(ExperimentsTest, ReadingNeedsNoPlaceForTheTime) {
  const auto experiment = NewExperiment(kQvLoopZ, 9);
  const int id = Write(experiment.get());
  SQvExperiment* read = nullptr;
  SQvPicturePlanes planes;
  EXPECT_EQ(Cache().ReadExperiment(&read, &planes, nullptr, id), 0);
  ASSERT_NE(read, nullptr);
  EXPECT_EQ(CExperiment(read)->loopSize, 9u);
}

TEST_F(ExperimentsTest, NewExperimentIsLookedUpAndInserted) {
  const auto experiment = NewExperiment(kQvLoopZ, 9);
  const int hash = static_cast<int>(CQvExperimentAPI::GetExperimentHash(experiment.get()));
  CQvLiteVariantW writer;
  CQvLiteVariantR reader;
  SQvExperiment::SaveToLiteVariant(writer, experiment.get());
  writer.Finalize(reader, 0);
  EXPECT_EQ(Write(experiment.get(), nullptr, 2.5, -4), 1);
  const std::string hashText = std::to_string(hash);
  EXPECT_THAT(
      CSqliteSpy::TakeCalls(),
      ElementsAre("prepare " + kLookup, "bind_int 1 " + hashText, "step 101", "finalize 0", "prepare " + kInsert,
                  "bind_double 1 2.5", "bind_blob 2 " + std::to_string(reader.Bytes().GetSize()) + " bytes",
                  "bind_blob 3 0 bytes", "bind_int 4 -4", "bind_int 5 " + hashText, "step 101", "finalize 0", "rowid"));
  EXPECT_THAT(Rows(), ElementsAre("1|2.5|-4"));
  EXPECT_EQ(CSql(DatabaseFile()).Value("SELECT hashCRC FROM experiments"), hashText);
}

TEST_F(ExperimentsTest, EqualExperimentIsReused) {
  const auto experiment = NewExperiment(kQvLoopZ, 9), equal = NewExperiment(kQvLoopZ, 9);
  EXPECT_EQ(Write(experiment.get(), nullptr, 1.0, 5), 1);
  CSqliteSpy::Clear();
  EXPECT_EQ(Write(equal.get(), nullptr, 2.0, -1), 1);
  const auto calls = CSqliteSpy::TakeCalls();
  ASSERT_THAT(calls, SizeIs(10));
  EXPECT_EQ(calls[0], "prepare " + kLookup);
  EXPECT_EQ(calls[2], "step 100");
  EXPECT_THAT(std::vector<std::string>(calls.begin() + 3, calls.end()),
              ElementsAre("finalize 0", "prepare " + kUpdate, "bind_double 1 2", "bind_int 2 5", "bind_int 3 1",
                          "step 101", "finalize 0"));
  EXPECT_THAT(Rows(), ElementsAre("1|2.0|5"));
  Write(equal.get(), nullptr, 3.0, 0);
  EXPECT_THAT(Rows(), ElementsAre("1|3.0|0")) << "0 is a stored id like any other";
  Write(equal.get(), nullptr, 4.0, 12);
  EXPECT_THAT(Rows(), ElementsAre("1|4.0|12"));
}

TEST_F(ExperimentsTest, AnyDifferenceMakesANewRow) {
  EXPECT_EQ(Write(NewExperiment(kQvLoopZ, 9, 0.5).get()), 1);
  EXPECT_EQ(Write(NewExperiment(kQvLoopZ, 9, 0.25).get()), 2);
  EXPECT_EQ(Write(NewExperiment(kQvLoopZ, 8, 0.5).get()), 3);
  EXPECT_EQ(Write(NewExperiment(kQvLoopZManual, 9, 0.5).get()), 4);
  const auto nested = NewExperiment(kQvLoopZ, 9, 0.5);
  nested->subExperiments.push_back(NewExperiment(kQvLoopLambda, 2).release());
  EXPECT_EQ(Write(nested.get()), 5);
  EXPECT_EQ(Write(nested.get()), 5);
}

TEST_F(ExperimentsTest, EveryRowOfTheHashIsCompared) {
  const auto first = NewExperiment(kQvLoopZ, 9), second = NewExperiment(kQvLoopTime, 5);
  Write(first.get());
  const std::string hash = std::to_string(static_cast<int>(CQvExperimentAPI::GetExperimentHash(second.get())));
  CSql sql(DatabaseFile());
  sql.Run("UPDATE experiments SET hashCRC = " + hash);
  EXPECT_EQ(Write(second.get(), nullptr, 1.0, 7), 2) << "same hash, not equal";
  sql.Run("INSERT INTO experiments (liteVariant, hashCRC) VALUES (x'0102', " + hash + "), (NULL, " + hash + ")");
  CSqliteSpy::Clear();
  EXPECT_EQ(Write(second.get(), nullptr, 2.0), 2) << "found behind the other one";
  EXPECT_EQ(Write(NewExperiment(kQvLoopTime, 6).get()), 5);
}

TEST_F(ExperimentsTest, DamagedBlobsOfTheHashAreNotEqual) {
  const auto experiment = NewExperiment(kQvLoopZ, 9);
  const std::string hash = std::to_string(static_cast<int>(CQvExperimentAPI::GetExperimentHash(experiment.get())));
  CSql(DatabaseFile())
      .Run("INSERT INTO experiments (liteVariant, hashCRC) VALUES (x'FFFFFFFFFFFFFFFF', " + hash + "), (NULL, " + hash +
           "), ('text', " + hash + ")");
  EXPECT_EQ(Write(experiment.get()), 4);
  EXPECT_EQ(Write(experiment.get()), 4);
}

TEST_F(ExperimentsTest, PlanesTakePartInTheHashOnly) {
  const auto experiment = NewExperiment(kQvLoopZ, 9);
  const SQvPicturePlanes red = MakePlanes(L"red"), green = MakePlanes(L"green");
  EXPECT_EQ(Write(experiment.get()), 1);
  EXPECT_EQ(Write(experiment.get(), &red), 2);
  EXPECT_EQ(Write(experiment.get(), &green), 3);
  EXPECT_EQ(Write(experiment.get(), &red), 2);
  EXPECT_EQ(Write(experiment.get()), 1);
  unsigned int hash = CQvExperimentAPI::GetExperimentHash(experiment.get());
  red.GetHash(hash);
  EXPECT_EQ(CSql(DatabaseFile()).Value("SELECT hashCRC FROM experiments WHERE experimentID = 2"),
            std::to_string(static_cast<int>(hash)));
  // Equal hash and equal experiment is enough, whatever the planes are: the stored ones stay.
  CSql(DatabaseFile()).Run("UPDATE experiments SET hashCRC = 0 WHERE experimentID <> 2");
  EXPECT_EQ(Write(experiment.get(), &red), 2);
}

TEST_F(ExperimentsTest, IdPointerMayBeNull) {
  const auto experiment = NewExperiment(kQvLoopZ, 9);
  CSqliteSpy::Clear();
  EXPECT_EQ(Cache().WriteExperiment(experiment.get(), nullptr, 1.0, 0, nullptr), 0);
  EXPECT_THAT(CSqliteSpy::TakeCalls(), ::testing::Not(::testing::Contains("rowid")));
  EXPECT_EQ(Cache().WriteExperiment(experiment.get(), nullptr, 1.0, 0, nullptr), 0);
  EXPECT_THAT(Rows(), SizeIs(1));
}

TEST_F(ExperimentsTest, NullAndUnserialisableExperimentsFail) {
  int id = 5;
  EXPECT_EQ(Cache().WriteExperiment(nullptr, nullptr, 1.0, 0, &id), -9);
  auto deep = NewExperiment(kQvLoopZ, 1);
  for (int i = 0; i < 100; ++i) {
    auto outer = NewExperiment(kQvLoopZ, 1);
    outer->subExperiments.push_back(deep.release());
    deep = std::move(outer);
  }
  EXPECT_EQ(Cache().WriteExperiment(deep.get(), nullptr, 1.0, 0, &id), -9);
  EXPECT_EQ(id, 5);
  EXPECT_THAT(CSqliteSpy::TakeCalls(), IsEmpty());
}

TEST_F(ExperimentsTest, FailedInsertIsReportedAndGivesThePreviousId) {
  Write(NewExperiment(kQvLoopZ, 1).get());
  Write(NewExperiment(kQvLoopZ, 2).get());
  CSql(DatabaseFile())
      .Run("UPDATE experiments SET M_acqTime = experimentID; CREATE UNIQUE INDEX one ON experiments(M_acqTime)");
  int id = 77;
  EXPECT_EQ(Cache().WriteExperiment(NewExperiment(kQvLoopZ, 3).get(), nullptr, 1.0, 0, &id), SQLITE_CONSTRAINT);
  EXPECT_EQ(id, 2);
  const auto messages = m_diag.Take();
  ASSERT_THAT(messages, SizeIs(2));
  EXPECT_EQ(messages[0].text,
            L"THUMBCACHE: WriteExperiment - sqlite3_step failed: UNIQUE constraint failed: experiments.M_acqTime");
  EXPECT_EQ(messages[1].text,
            L"THUMBCACHE: WriteExperiment - sqlite3_finalize failed: UNIQUE constraint failed: experiments.M_acqTime");
  for (const SDiag& message : messages) {
    EXPECT_EQ(message.file, kSource);
    EXPECT_EQ(message.format, L"%s");
    EXPECT_GT(message.line, 0);
  }
}

TEST_F(ExperimentsTest, ExperimentThatIsTooLargeIsNotWrittenAsNothing) {
  sqlite3_limit(CSqliteSpy::Connection(), SQLITE_LIMIT_LENGTH, 150);
  const auto experiment = NewExperiment(kQvLoopXYPosition, 20);
  experiment->positions.resize(20);
  EXPECT_EQ(Cache().WriteExperiment(experiment.get(), nullptr, 1.0, 0, nullptr), SQLITE_TOOBIG);
  EXPECT_EQ(CSql(DatabaseFile()).Value("SELECT count(*) FROM experiments"), "0");
}

TEST_F(ExperimentsTest, FailedUpdateIsReportedAndReturnsZero) {
  const auto experiment = NewExperiment(kQvLoopZ, 1);
  Write(experiment.get());
  CSql(DatabaseFile())
      .Run("INSERT INTO experiments (M_acqTime) VALUES (9.0); CREATE UNIQUE INDEX one ON experiments(M_acqTime)");
  EXPECT_EQ(Write(experiment.get(), nullptr, 9.0), 1) << "the id is given all the same";
  EXPECT_THAT(
      m_diag.TakeTexts(),
      ElementsAre(
          L"THUMBCACHE: WriteExperiment - sqlite3_step failed: UNIQUE constraint failed: experiments.M_acqTime",
          L"THUMBCACHE: WriteExperiment - sqlite3_finalize failed: UNIQUE constraint failed: experiments.M_acqTime"));
}

TEST_F(ExperimentsTest, FailedLookupInserts) {
  const auto experiment = NewExperiment(kQvLoopZ, 1);
  Write(experiment.get());
  CSqliteSpy::FailStep(kLookup, SQLITE_BUSY);
  EXPECT_EQ(Write(experiment.get()), 2);
}

TEST_F(ExperimentsTest, ExperimentAndPlanesComeBackEqual) {
  const auto experiment = NewExperiment(kQvLoopTimePhases, 100, 0.5);
  const auto positions = NewExperiment(kQvLoopXYPosition, 2).release();
  positions->positions = {{1.5, -2.5, 3.0, L"A1"}, {4.0, 5.0, 6.0, L"\u00C4 2"}};
  experiment->subExperiments = {positions, nullptr};
  const SQvPicturePlanes planes = MakePlanes(L"DAPI");
  const int id = Write(experiment.get(), &planes, 2.5);
  CSqliteSpy::Clear();
  SQvExperiment* read = nullptr;
  SQvPicturePlanes readPlanes;
  double time = 0;
  EXPECT_EQ(Cache().ReadExperiment(&read, &readPlanes, &time, id), 0);
  EXPECT_THAT(CSqliteSpy::TakeCalls(), ElementsAre("prepare " + kRead, "bind_int 1 1", "step 100", "finalize 0"));
  const CExperiment owner(read);
  EXPECT_TRUE(SQvExperiment::IsEqual(read, experiment.get(), true, true));
  ASSERT_THAT(readPlanes.planes, SizeIs(1));
  EXPECT_EQ(readPlanes.planes[0].name.Str(), L"DAPI");
  EXPECT_EQ(time, 2.5);
}

TEST_F(ExperimentsTest, RowWithoutPlanesLeavesThem) {
  const int id = Write(NewExperiment(kQvLoopZ, 9).get());
  for (const char* blob : {"NULL", "x''"}) {
    CSql(DatabaseFile()).Run(std::string("UPDATE experiments SET picturePlanes = ") + blob);
    SQvExperiment* read = nullptr;
    SQvPicturePlanes planes = MakePlanes(L"mine");
    double time = 0;
    EXPECT_EQ(Cache().ReadExperiment(&read, &planes, &time, id), 0);
    const CExperiment owner(read);
    ASSERT_NE(read, nullptr);
    EXPECT_EQ(planes.planes[0].name.Str(), L"mine");
  }
}

TEST_F(ExperimentsTest, UnknownIdLeavesTheOutputs) {
  auto* const untouched = reinterpret_cast<SQvExperiment*>(0x10);
  SQvExperiment* read = untouched;
  SQvPicturePlanes planes = MakePlanes(L"mine");
  double time = -5.0;
  EXPECT_EQ(Cache().ReadExperiment(&read, &planes, &time, 99), 0);
  EXPECT_EQ(read, untouched);
  EXPECT_EQ(time, -5.0);
  EXPECT_THAT(planes.planes, SizeIs(1));
}

TEST_F(ExperimentsTest, NullOutputsFail) {
  SQvExperiment* read = nullptr;
  SQvPicturePlanes planes;
  double time = 0;
  EXPECT_EQ(Cache().ReadExperiment(nullptr, &planes, &time, 1), -9);
  EXPECT_EQ(Cache().ReadExperiment(&read, nullptr, &time, 1), -9);
  EXPECT_THAT(CSqliteSpy::TakeCalls(), IsEmpty());
}

TEST_F(ExperimentsTest, DamagedRowsAreSurvived) {
  const int id = Write(NewExperiment(kQvLoopZ, 9).get());
  for (const char* blob : {"x'00'", "x'FFFFFFFFFFFFFFFFFFFFFFFF'", "NULL", "'text'", "zeroblob(100000)", "42"}) {
    CSql(DatabaseFile()).Run(std::string("UPDATE experiments SET liteVariant = ") + blob + ", picturePlanes = " + blob);
    SQvExperiment* read = nullptr;
    SQvPicturePlanes planes;
    double time = 0;
    EXPECT_EQ(Cache().ReadExperiment(&read, &planes, &time, id), 0) << blob;
    const CExperiment owner(read);
    EXPECT_TRUE(!read || read->subExperiments.empty());
    EXPECT_THAT(planes.planes, IsEmpty());
  }
}

TEST_F(ExperimentsTest, ExperimentsOfAStoredItemAreListed) {
  Write(NewExperiment(kQvLoopZ, 1).get(), nullptr, 1.0, 4);
  Write(NewExperiment(kQvLoopZ, 2).get(), nullptr, 1.0, 5);
  Write(NewExperiment(kQvLoopZ, 3).get(), nullptr, 1.0, 4);
  CSqliteSpy::Clear();
  std::vector<int> ids = {9};
  EXPECT_EQ(Cache().GetExperimentIDsByStoredID(4, &ids), 0);
  EXPECT_THAT(ids, ElementsAre(1, 3));
  EXPECT_THAT(CSqliteSpy::TakeCalls(),
              ElementsAre("prepare " + kByStored, "bind_int 1 4", "step 100", "step 100", "step 101", "finalize 0"));
  EXPECT_EQ(Cache().GetExperimentIDsByStoredID(99, &ids), 0);
  EXPECT_THAT(ids, IsEmpty());
  EXPECT_EQ(Cache().GetExperimentIDsByStoredID(4, nullptr), -9);
}

TEST_F(ExperimentsTest, FinalizeResultsPassThrough) {
  const int id = Write(NewExperiment(kQvLoopZ, 9).get(), nullptr, 1.0, 4);
  CSqliteSpy::FailFinalize(kByStored, SQLITE_IOERR);
  std::vector<int> ids;
  EXPECT_EQ(Cache().GetExperimentIDsByStoredID(4, &ids), SQLITE_IOERR);
  CSqliteSpy::FailFinalize(kRead, SQLITE_NOMEM);
  SQvExperiment* read = nullptr;
  SQvPicturePlanes planes;
  double time = 0;
  EXPECT_EQ(Cache().ReadExperiment(&read, &planes, &time, id), SQLITE_NOMEM);
  SQvExperiment::FreeRecursive(read);
  EXPECT_TRUE(m_diag.Take().empty());
}

TEST_F(ExperimentsTest, WithoutADatabase) {
  Close();
  Host().Drop();
  CServiceHandle fresh;
  int id = 5;
  const auto experiment = NewExperiment(kQvLoopZ, 9);
  EXPECT_EQ(fresh->WriteExperiment(experiment.get(), nullptr, 1.0, 0, &id), 0);
  EXPECT_EQ(id, 5);
  EXPECT_EQ(fresh->WriteExperiment(nullptr, nullptr, 1.0, 0, &id), -9);
  SQvExperiment* read = nullptr;
  SQvPicturePlanes planes;
  double time = -5;
  EXPECT_EQ(fresh->ReadExperiment(&read, &planes, &time, 1), 0);
  EXPECT_EQ(read, nullptr);
  EXPECT_EQ(fresh->ReadExperiment(nullptr, &planes, &time, 1), -9);
  std::vector<int> ids = {1};
  EXPECT_EQ(fresh->GetExperimentIDsByStoredID(1, &ids), -9);
  EXPECT_THAT(ids, SizeIs(1));
}

// A random tree of loops.
using RandomBelow = std::function<unsigned(unsigned)>;
CExperiment Random(const RandomBelow& below, int depth) {
  auto experiment = NewExperiment(below(11), below(5), below(7) * 0.25);
  for (unsigned i = below(3); i > 0; --i)
    experiment->positions.push_back({below(9) * 1.5, 2.0, 3.0, std::to_wstring(below(5))});
  for (unsigned i = below(3); i > 0; --i) {
    SQvExperimentChannel channel;
    channel.name = L"ch" + std::to_wstring(below(3));
    channel.color = below(0x1000000);
    experiment->channels.push_back(channel);
  }
  if (depth > 0)
    for (unsigned i = below(3); i > 0; --i) experiment->subExperiments.push_back(Random(below, depth - 1).release());
  return experiment;
}

TEST_F(ExperimentsTest, RandomExperimentsAreStoredOnceAndComeBackEqual) {
  Close();
  CSqliteSpy::Reset();
  CSql(DatabaseFile()).Run("PRAGMA journal_mode=WAL");
  ASSERT_EQ(Open(), 0);
  std::mt19937 generator(99);
  const RandomBelow below = [&](unsigned limit) { return static_cast<unsigned>(generator() % limit); };
  std::vector<std::pair<CExperiment, int>> known;
  for (int i = 0; i < 400; ++i) {
    auto experiment = Random(below, 3);
    const int id = Write(experiment.get());
    const auto equal = std::find_if(known.begin(), known.end(), [&](const auto& item) {
      return SQvExperiment::IsEqual(item.first.get(), experiment.get(), true, true);
    });
    if (equal != known.end()) {
      EXPECT_EQ(id, equal->second);
    } else {
      EXPECT_EQ(id, static_cast<int>(known.size()) + 1);
      known.emplace_back(std::move(experiment), id);
    }
  }
  for (const auto& [experiment, id] : known) {
    SQvExperiment* read = nullptr;
    SQvPicturePlanes planes;
    double time = 0;
    ASSERT_EQ(Cache().ReadExperiment(&read, &planes, &time, id), 0);
    const CExperiment owner(read);
    EXPECT_TRUE(SQvExperiment::IsEqual(read, experiment.get(), true, true));
  }
}

}  // namespace
}  // namespace qvtest
