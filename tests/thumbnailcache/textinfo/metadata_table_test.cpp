#include <ctime>
#include <fstream>

#include "tests/thumbnailcache/support/file_times.h"
#include "tests/thumbnailcache/textinfo/textinfo_test.h"

namespace qvtest {
namespace {

using standin::SFile;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

const std::string kColumns =
    "M_imageID, M_type, M_group, M_sampleID, M_author, M_description, M_capturing, M_sampling, M_location, M_date, "
    "M_conclusion, M_info1, M_info2, M_optics, M_width, M_widthBytes, M_height, M_comp, M_bpcInMemory, "
    "M_bpcSignificant, M_pixelType, M_sequenceCount, M_tileWidth, M_tileHeight, M_compression, M_compressionParam, "
    "M_calibration, M_objective, M_acqTime, M_fileSize, M_timeLoop, M_zLoop, M_multipointLoop, M_lambdaLoop";
const std::string kSelect = "SELECT " + kColumns + " FROM metadata WHERE filename = :FN AND lastWritten = :LW";
const std::string kDelete = "DELETE FROM metadata WHERE filename = :FN";
const std::string kInsert =
    "INSERT INTO metadata (filename, lastWritten, " + kColumns +
    ") VALUES (:FN, :LW, :IID, :TYPE, :GRP, :SID, :AUTH, :DESC, :CAPT, :SMP, :LOC, :DATE, :CONC, :INFA, :INFB, :OPT, "
    ":WID, :WIDB, :HGHT, :COMP, :BPCM, :BPCS, :PIXTYPE, :SEQCNT, :TILEW, :TILEH, :COMPR, :COMPRPARAM, :CALIB, :OBJ, "
    ":ACQT, :FILESIZE, :LOOPT, :LOOPZ, :LOOPXY, :LOOPL)";

// A time in 2022 whose low half is 0, in 100-nanosecond steps since 1601.
constexpr std::int64_t kBase = 31000000LL << 32;

class MetadataTableTest : public ServiceTest {
 protected:
  void SetUp() override {
    ServiceTest::SetUp();
    ASSERT_EQ(Open(), 0);
    CSqliteSpy::Clear();
  }

  static void SetTime(const std::wstring& path, std::int64_t ticks) { SetLastWrite(path, ticks); }
  // New content, and the last-write time as it was.
  static void Rewrite(const std::wstring& path, const std::string& content) {
    const timespec before = LastWrite(path);
    std::ofstream(Utf8(path)) << content;
    SetLastWrite(path, before);
  }

  // A plain file that says to be as large as the other.
  static SFile MakePlain() {
    SFile file;
    file.metadata.fileSize = MakeRich().metadata.fileSize;
    return file;
  }

  // A file whose every value differs from every other.
  static SFile MakeRich() {
    SFile file;
    file.info = {101, 102, 103, 104, 205, 206, 107, 108, 109, 110, 111, 0.5};
    const auto texts = Texts(file.metadata.text);
    for (std::size_t i = 0; i < texts.size(); ++i) *texts[i] = L"t" + std::to_wstring(i);
    file.metadata.text.author = L"\u00C4da \U0001F52C";
    file.metadata.calibration = 0.25;
    file.metadata.objective = L"60x";
    file.metadata.acquisitionTime = 7.5;
    file.metadata.fileSize = 1LL << 40;
    file.metadata.planeCount = 4;
    file.metadata.loops = {{1, 201}, {4, 202}, {2, 203}};
    return file;
  }
};

TEST_F(MetadataTableTest, FileIsLookedUpDeletedAndInserted) {
  const std::wstring path = MakeFile("a.tif", MakeRich());
  SetTime(path, kBase + 77);
  STextInfo all;
  EXPECT_EQ(all.Read(Cache(), path), 0);
  const std::string name = "bind_text16 1 '" + Utf8(path) + "'";
  std::vector<std::string> expected = {"prepare " + kSelect,
                                       name,
                                       "bind_double 2 77",
                                       "step 101",
                                       "finalize 0",
                                       "prepare " + kDelete,
                                       name,
                                       "step 101",
                                       "finalize 0",
                                       "prepare " + kInsert,
                                       name,
                                       "bind_double 2 77"};
  for (int i = 0; i < 14; ++i) {
    const std::string text = i == 4 ? "\xC3\x84"
                                      "da \xF0\x9F\x94\xAC"
                                    : std::string("t") + std::to_string(i);
    expected.push_back("bind_text16 " + std::to_string(3 + i) + " '" + text + "'");
  }
  const int numbers[] = {101, 102, 103, 104, 205, 206, 107, 108, 109, 110, 111};
  for (int i = 0; i < 11; ++i)
    expected.push_back("bind_int " + std::to_string(17 + i) + " " + std::to_string(numbers[i]));
  for (const char* line : {"bind_double 28 0.5", "bind_double 29 0.25", "bind_text16 30 '60x'", "bind_double 31 7.5",
                           "bind_int64 32 1099511627776", "bind_int 33 201", "bind_int 34 202", "bind_int 35 203",
                           "bind_int 36 4", "step 101", "finalize 0"})
    expected.push_back(line);
  EXPECT_THAT(CSqliteSpy::TakeCalls(), ElementsAreArray(expected));
  EXPECT_THAT(CSqliteSpy::TakeTraced(), ElementsAre(kSelect, kDelete, kInsert));
}

TEST_F(MetadataTableTest, RowComesBackWhole) {
  const std::wstring path = MakeFile("a.tif", MakeRich());
  STextInfo first, second;
  EXPECT_EQ(first.Read(Cache(), path), 0);
  Script().SetFile(path, SFile());
  CSqliteSpy::Clear();
  EXPECT_EQ(second.Read(Cache(), path), 0);
  EXPECT_THAT(CSqliteSpy::TakeTraced(), ElementsAre(kSelect));

  const auto a = Texts(first.text), b = Texts(second.text);
  for (std::size_t i = 0; i < a.size(); ++i) EXPECT_EQ(a[i]->Str(), b[i]->Str()) << i;
  EXPECT_EQ(second.info.width, 101u);
  EXPECT_EQ(second.info.widthBytes, 102u);
  EXPECT_EQ(second.info.height, 103u);
  EXPECT_EQ(second.info.components, 104u);
  EXPECT_EQ(second.info.bpcInMemory, 205);
  EXPECT_EQ(second.info.bpcSignificant, 206);
  EXPECT_EQ(second.info.pixelType, 107u);
  EXPECT_EQ(second.info.sequenceCount, 108u);
  EXPECT_EQ(second.info.tileWidth, 109u);
  EXPECT_EQ(second.info.tileHeight, 110u);
  EXPECT_EQ(second.info.compression, 111u);
  EXPECT_EQ(second.info.compressionParam, 0.5);
  EXPECT_EQ(second.calibration, 0.25);
  EXPECT_EQ(second.objective.Str(), L"60x");
  EXPECT_EQ(second.acqTime, 7.5);
  EXPECT_EQ(second.fileSize, 1LL << 40);
  EXPECT_THAT(second.Loops(), ElementsAre(201, 202, 203, 4));
}

TEST_F(MetadataTableTest, LargeNumbersSurviveAsUnsigned) {
  SFile file = MakeRich();
  file.info.width = 0xFFFFFFFFu;
  file.metadata.loops = {{1, 0x80000001u}};
  const std::wstring path = MakeFile("a.tif", file);
  STextInfo all;
  all.Read(Cache(), path);
  STextInfo again;
  EXPECT_EQ(again.Read(Cache(), path), 0);
  EXPECT_EQ(again.info.width, 0xFFFFFFFFu);
  EXPECT_EQ(again.loops[0], 0x80000001u);
}

TEST_F(MetadataTableTest, OnlyTheLowHalfOfTheTimeCounts) {
  const std::wstring path = MakeFile("a.tif", MakeRich());
  SetTime(path, kBase + 123);
  STextInfo all;
  all.Read(Cache(), path);
  Script().SetFile(path, SFile());
  SetTime(path, kBase + (3LL << 32) + 123);
  EXPECT_EQ(all.Read(Cache(), path), 0);
  EXPECT_EQ(all.info.width, 101u) << "the old row still matches";
  EXPECT_EQ(CSql(DatabaseFile()).Value("SELECT lastWritten FROM metadata"), "123.0");
}

TEST_F(MetadataTableTest, FileOfAnotherSizeIsReadAgainThoughItsTimeIsTheSame) {
  for (const std::string content : {"some more content", "less"}) {
    SFile file = MakeRich();
    file.metadata.fileSize = 7;
    const std::wstring path = MakeFile("f" + content + ".tif", file);
    SetTime(path, kBase + 77);
    STextInfo all;
    EXPECT_EQ(all.Read(Cache(), path), 0);
    CSql(DatabaseFile())
        .Run("DELETE FROM cache; INSERT INTO cache (filename, flags) VALUES ('" + Utf8(path) + "', 0), ('" +
             Utf8(path) + "', 1), ('other', 0)");
    Rewrite(path, content);
    SFile changed;
    changed.metadata.fileSize = static_cast<std::int64_t>(content.size());
    Script().SetFile(path, changed);
    EXPECT_EQ(all.Read(Cache(), path), 0);
    EXPECT_EQ(all.info.width, 400u);
    EXPECT_EQ(all.fileSize, changed.metadata.fileSize);
    EXPECT_THAT(
        CSql(DatabaseFile())
            .Rows("SELECT lastWritten, M_width, M_fileSize FROM metadata WHERE filename = '" + Utf8(path) + "'"),
        ElementsAre("77.0|400|" + std::to_string(content.size())));
    EXPECT_THAT(CSql(DatabaseFile()).Rows("SELECT filename FROM cache"), ElementsAre("other"))
        << "its thumbnails show the former content";
    CSqliteSpy::Clear();
    EXPECT_EQ(all.Read(Cache(), path), 0);
    EXPECT_THAT(CSqliteSpy::TakeTraced(), ElementsAre(kSelect));
  }
}

TEST_F(MetadataTableTest, RowOfASizeThatOnlyTheImageFileKnowsIsServed) {
  const std::wstring path = MakeFile("a.tif", MakeRich());
  STextInfo all;
  EXPECT_EQ(all.Read(Cache(), path), 0);
  SetTime(path, kBase + 5);
  EXPECT_EQ(all.Read(Cache(), path), 0);
  for (const SFile& other : {MakePlain(), SFile()}) {
    Script().SetFile(path, other);
    CSqliteSpy::Clear();
    EXPECT_EQ(all.Read(Cache(), path), 0);
    EXPECT_EQ(all.info.width, 101u);
    EXPECT_THAT(CSqliteSpy::TakeTraced(), ElementsAre(kSelect));
  }
}

TEST_F(MetadataTableTest, RowWithoutASizeIsServed) {
  SFile file = MakeRich();
  file.metadata.fileSize = 0;
  const std::wstring path = MakeFile("a.tif", file);
  STextInfo all;
  EXPECT_EQ(all.Read(Cache(), path), 0);
  Script().SetFile(path, SFile());
  EXPECT_EQ(all.Read(Cache(), path), 0);
  EXPECT_EQ(all.info.width, 101u);
}

TEST_F(MetadataTableTest, StampIsTheOneBeforeTheFileWasRead) {
  const std::wstring path = MakeFile("a.tif", MakeRich());
  SetTime(path, kBase + 100);
  CSqliteSpy::SetStepHook([&](const std::string& text) {
    if (text == kSelect) SetTime(path, kBase + 200);
  });
  STextInfo all;
  EXPECT_EQ(all.Read(Cache(), path), 0);
  CSqliteSpy::SetStepHook(nullptr);
  EXPECT_EQ(CSql(DatabaseFile()).Value("SELECT lastWritten FROM metadata"), "100.0");
  Script().SetFile(path, SFile());
  EXPECT_EQ(all.Read(Cache(), path), 0);
  EXPECT_EQ(all.info.width, 400u) << "what was written meanwhile is seen";
}

TEST_F(MetadataTableTest, YoungFileIsReadAgainWhenAnythingOfItChanged) {
  const std::wstring path = MakeFile("a.tif", MakeRich());
  STextInfo all;
  EXPECT_EQ(all.Read(Cache(), path), 0);
  CSqliteSpy::Clear();
  EXPECT_EQ(all.Read(Cache(), path), 0);
  EXPECT_THAT(CSqliteSpy::TakeTraced(), ElementsAre(kSelect)) << "unchanged";
  std::this_thread::sleep_for(std::chrono::milliseconds(20));  // the file system's clock ticks
  Rewrite(path, "CONTENT");
  Script().SetFile(path, MakePlain());
  EXPECT_EQ(all.Read(Cache(), path), 0);
  EXPECT_EQ(all.info.width, 400u);
}

TEST_F(MetadataTableTest, NothingIsStoredOfAYoungFileWhoseStampsAreSeconds) {
  const std::wstring path = MakeFile("a.tif", MakeRich());
  SetLastWrite(path, timespec{std::time(nullptr), 0});
  STextInfo all;
  EXPECT_EQ(all.Read(Cache(), path), 0);
  EXPECT_EQ(all.info.width, 101u);
  EXPECT_EQ(CSql(DatabaseFile()).Value("SELECT count(*) FROM metadata"), "0");
  SetLastWrite(path, timespec{std::time(nullptr) - 10, 0});
  EXPECT_EQ(all.Read(Cache(), path), 0);
  EXPECT_EQ(CSql(DatabaseFile()).Value("SELECT count(*) FROM metadata"), "1");
}

TEST_F(MetadataTableTest, StampIsUnsigned) {
  const std::wstring path = MakeFile("a.tif");
  SetTime(path, kBase + 0xFFFFFFF0LL);
  STextInfo all;
  all.Read(Cache(), path);
  EXPECT_EQ(CSql(DatabaseFile()).Value("SELECT lastWritten FROM metadata"), "4294967280.0");
}

TEST_F(MetadataTableTest, ChangedFileIsReadAgainAndKeepsOneRow) {
  const std::wstring path = MakeFile("a.tif", MakeRich());
  SetTime(path, kBase + 100);
  STextInfo all;
  all.Read(Cache(), path);
  Script().SetFile(path, SFile());
  SetTime(path, kBase + 200);
  EXPECT_EQ(all.Read(Cache(), path), 0);
  EXPECT_EQ(all.info.width, 400u);
  EXPECT_THAT(CSql(DatabaseFile()).Rows("SELECT lastWritten, M_width FROM metadata"), ElementsAre("200.0|400"));
}

TEST_F(MetadataTableTest, MissingFileHasTheStampZero) {
  const std::wstring path = Folder().Wide("missing.tif");
  Script().SetFile(path, MakeRich());
  STextInfo all;
  EXPECT_EQ(all.Read(Cache(), path), 0);
  EXPECT_EQ(CSql(DatabaseFile()).Value("SELECT lastWritten FROM metadata"), "0.0");
  CSqliteSpy::Clear();
  EXPECT_EQ(all.Read(Cache(), path), 0);
  EXPECT_THAT(CSqliteSpy::TakeTraced(), ElementsAre(kSelect));
}

TEST_F(MetadataTableTest, FailedExtractionStoresNothing) {
  SFile file;
  file.metadata.infoResult = -9;
  const std::wstring path = MakeFile("a.tif", file);
  STextInfo all;
  EXPECT_EQ(all.Read(Cache(), path), -9);
  EXPECT_THAT(CSqliteSpy::TakeTraced(), ElementsAre(kSelect));
  EXPECT_EQ(CSql(DatabaseFile()).Value("SELECT count(*) FROM metadata"), "0");
}

TEST_F(MetadataTableTest, LoopCountsMayBeNull) {
  const std::wstring path = MakeFile("a.tif", MakeRich());
  for (int round = 0; round < 2; ++round) {
    STextInfo all;
    EXPECT_EQ(Cache().GetFileTextInfo(path.c_str(), all.text, all.info, all.calibration, all.objective, all.acqTime,
                                      all.fileSize, nullptr),
              0);
    EXPECT_EQ(all.info.width, 101u);
    EXPECT_EQ(all.objective.Str(), L"60x");
  }
  EXPECT_EQ(CSql(DatabaseFile()).Value("SELECT M_timeLoop, M_lambdaLoop FROM metadata"), "201|4");
}

TEST_F(MetadataTableTest, NullPathFails) {
  STextInfo all;
  EXPECT_EQ(Cache().GetFileTextInfo(nullptr, all.text, all.info, all.calibration, all.objective, all.acqTime,
                                    all.fileSize, all.loops),
            -9);
}

TEST_F(MetadataTableTest, PathIsKeyedAsPassed) {
  const std::wstring path = MakeFile("Mixed.tif", MakeRich());
  STextInfo all;
  all.Read(Cache(), path);
  EXPECT_EQ(CSql(DatabaseFile()).Value("SELECT filename FROM metadata"), Utf8(path));
  EXPECT_EQ(all.Read(Cache(), Folder().Wide("mixed.tif")), 0);
  EXPECT_EQ(CSql(DatabaseFile()).Value("SELECT count(*) FROM metadata"), "2");
}

TEST_F(MetadataTableTest, FailedLookupIsReportedAndAnsweredFromTheFile) {
  const std::wstring path = MakeFile("a.tif", MakeRich());
  CSqliteSpy::FailStep(kSelect, SQLITE_BUSY);
  STextInfo all;
  EXPECT_EQ(all.Read(Cache(), path), 0);
  const auto messages = m_diag.Take();
  ASSERT_THAT(messages, SizeIs(1));
  EXPECT_EQ(messages[0].kind, EQvDiagKind::Assertion);
  EXPECT_EQ(messages[0].text, L"res != SQLITE_DONE && res != SQLITE_ROW");
  EXPECT_EQ(messages[0].file, kSource);
  EXPECT_EQ(messages[0].line, 2705);
  EXPECT_EQ(all.info.width, 101u);
}

TEST_F(MetadataTableTest, FailedDeleteSkipsTheInsertSilently) {
  sqlite3_busy_timeout(CSqliteSpy::Connection(), 0);
  const std::wstring path = MakeFile("a.tif", MakeRich());
  STextInfo all;
  {
    CSql holder(DatabaseFile());
    holder.Run("BEGIN IMMEDIATE");
    EXPECT_EQ(all.Read(Cache(), path), 0);
    holder.Run("COMMIT");
  }
  EXPECT_EQ(all.info.width, 101u);
  auto calls = CSqliteSpy::TakeCalls();
  calls.erase(calls.begin(), std::find(calls.begin(), calls.end(), "prepare " + kDelete));
  EXPECT_THAT(calls,
              ElementsAre("prepare " + kDelete, "bind_text16 1 '" + Utf8(path) + "'", "step 5", "clear", "reset"));
  EXPECT_THAT(CSqliteSpy::OpenStatements(), ElementsAre(kDelete));
  EXPECT_TRUE(m_diag.Take().empty());
  CSqliteSpy::FinalizeOpenStatements();
}

TEST_F(MetadataTableTest, SavingSurvivesATableThatIsGone) {
  CSql(DatabaseFile()).Run("DROP TABLE metadata");
  const std::wstring path = MakeFile("a.tif", MakeRich());
  STextInfo all;
  EXPECT_EQ(all.Read(Cache(), path), 0);
  EXPECT_EQ(all.info.width, 101u);
  EXPECT_THAT(CSqliteSpy::OpenStatements(), IsEmpty());
}

TEST_F(MetadataTableTest, FailedInsertIsReportedTwiceAndChangesNoResult) {
  CSql(DatabaseFile())
      .Run("CREATE UNIQUE INDEX one ON metadata(M_width); INSERT INTO metadata (filename, M_width) VALUES ('b', 101)");
  const std::wstring path = MakeFile("a.tif", MakeRich());
  STextInfo all;
  EXPECT_EQ(all.Read(Cache(), path), 0);
  const auto messages = m_diag.Take();
  ASSERT_THAT(messages, SizeIs(2));
  EXPECT_EQ(
      messages[0].text,
      L"THUMBCACHE: SaveFileTextInfoToDatabase - sqlite3_step failed: UNIQUE constraint failed: metadata.M_width");
  EXPECT_EQ(messages[0].line, 2640);
  EXPECT_EQ(
      messages[1].text,
      L"THUMBCACHE: SaveFileTextInfoToDatabase - sqlite3_finalize failed: UNIQUE constraint failed: metadata.M_width");
  EXPECT_EQ(messages[1].line, 2646);
  for (const SDiag& message : messages) {
    EXPECT_EQ(message.file, kSource);
    EXPECT_EQ(message.format, L"%s");
  }
}

TEST_F(MetadataTableTest, OldRowsStayWhenTheirDeleteFails) {
  const std::wstring path = MakeFile("a.tif", MakeRich());
  SetTime(path, kBase + 1);
  STextInfo all;
  all.Read(Cache(), path);
  SetTime(path, kBase + 2);
  CSqliteSpy::FailStep(kDelete, SQLITE_CONSTRAINT);
  EXPECT_EQ(all.Read(Cache(), path), 0);
  EXPECT_EQ(CSql(DatabaseFile()).Value("SELECT lastWritten FROM metadata"), "1.0");
  CSqliteSpy::FinalizeOpenStatements();
}

TEST_F(MetadataTableTest, WorksWithoutADatabase) {
  Close();
  Host().Drop();
  CServiceHandle fresh;
  const std::wstring path = MakeFile("a.tif", MakeRich());
  CSqliteSpy::Clear();
  STextInfo all;
  EXPECT_EQ(all.Read(*fresh, path), 0);
  EXPECT_EQ(all.info.width, 101u);
  EXPECT_THAT(CSqliteSpy::TakeCalls(), IsEmpty());
}

TEST_F(MetadataTableTest, CallersInParallelAllGetTheirAnswers) {
  std::vector<std::wstring> paths;
  for (std::uint32_t i = 0; i < 8; ++i) {
    SFile file;
    file.info.width = 1000 + i;
    paths.push_back(MakeFile(std::string("f") + std::to_string(i) + ".tif", file));
  }
  std::vector<std::thread> threads;
  for (std::uint32_t i = 0; i < 8; ++i)
    threads.emplace_back([&, i] {
      for (int round = 0; round < 20; ++round) {
        STextInfo all;
        EXPECT_EQ(all.Read(Cache(), paths[i]), 0);
        EXPECT_EQ(all.info.width, 1000 + i);
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(CSql(DatabaseFile()).Value("SELECT count(*) FROM metadata"), "8");
}

}  // namespace
}  // namespace qvtest
