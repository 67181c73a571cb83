#include "tests/thumbnailcache/support/image_database.h"
#include "tests/thumbnailcache/support/service_test.h"

namespace qvtest {
namespace {

using standin::MakeStream;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr const wchar_t* kBadPicture =
    L"ThumbnailCacheImpl2::ReadThumbnailFromDatabase - CreaetInputImageFile failed (corrupted database?)";
constexpr const wchar_t* kBadPixels =
    L"ThumbnailCacheImpl2::ReadThumbnailFromDatabase - GetData failed (corrupted database?)";
const std::string kSelect = "SELECT lastWritten, binData, quality FROM cache WHERE filename = :FN AND flags = :FL";
const std::string kDelete = "DELETE FROM cache WHERE filename = :FN AND flags = :FL";
const std::string kInsert =
    "INSERT INTO cache (filename, flags, lastWritten, quality, binData) VALUES (:FN, :FL, :LW, :QU, :BD)";

class RecordsTest : public ServiceTest {
 protected:
  void SetUp() override {
    ServiceTest::SetUp();
    ASSERT_EQ(Open(), 0);
  }

  void InsertRow(const std::string& location, int flags, double lastWritten, int quality,
                 const std::vector<std::uint8_t>& blob) {
    CSql sql(DatabaseFile());
    sqlite3_stmt* statement = nullptr;
    ASSERT_EQ(sqlite3_prepare_v2(sql.Handle(),
                                 "INSERT INTO cache (filename, flags, lastWritten, quality, binData) "
                                 "VALUES (?, ?, ?, ?, ?)",
                                 -1, &statement, nullptr),
              SQLITE_OK);
    sqlite3_bind_text(statement, 1, location.c_str(), -1, SQLITE_TRANSIENT);
    sqlite3_bind_int(statement, 2, flags);
    sqlite3_bind_double(statement, 3, lastWritten);
    sqlite3_bind_int(statement, 4, quality);
    sqlite3_bind_blob(statement, 5, blob.data(), static_cast<int>(blob.size()), SQLITE_TRANSIENT);
    EXPECT_EQ(sqlite3_step(statement), SQLITE_DONE);
    sqlite3_finalize(statement);
  }

  // Calls between the first "prepare" of this text and the next one.
  static std::vector<std::string> CallsOf(const std::vector<std::string>& calls, const std::string& text) {
    std::vector<std::string> found;
    bool inside = false;
    for (const std::string& call : calls) {
      if (call.starts_with("prepare ")) {
        if (inside) break;
        inside = call == "prepare " + text;
      }
      if (inside) found.push_back(call);
    }
    return found;
  }

  // A database location without an owner: creation leaves it as the row's reading left it.
  const std::wstring m_ownerless = SQvThumbnailDescription::MakeDBLocation(1, L"image").Str();
};

TEST_F(RecordsTest, NewThumbnailIsLookedUpDeletedAndInserted) {
  const std::wstring path = MakeFile("a.tif");
  CSqliteSpy::Clear();
  RequestNow(Cache(), {Describe(path, 3)});
  const auto calls = CSqliteSpy::TakeCalls();
  const std::string name = "bind_text 1 '" + Utf8(path) + "'";
  EXPECT_THAT(CallsOf(calls, kSelect),
              ElementsAre("prepare " + kSelect, name, "bind_int 2 3", "step 101", "finalize 0"));
  EXPECT_THAT(CallsOf(calls, kDelete),
              ElementsAre("prepare " + kDelete, name, "bind_int 2 3", "step 101", "finalize 0"));
  const auto insert = CallsOf(calls, kInsert);
  ASSERT_THAT(insert, SizeIs(8));
  EXPECT_THAT(std::vector<std::string>(insert.begin(), insert.begin() + 3),
              ElementsAre("prepare " + kInsert, name, "bind_int 2 3"));
  EXPECT_THAT(insert[3], ::testing::StartsWith("bind_double 3 2."));
  EXPECT_EQ(insert[4], "bind_int 4 0");
  EXPECT_THAT(insert[5], ::testing::MatchesRegex("bind_blob 5 [0-9]+ bytes"));
  EXPECT_EQ(insert[6], "step 101");
  EXPECT_EQ(insert[7], "finalize 0");
}

TEST_F(RecordsTest, StatementsComeInOrderThenTheTextInformation) {
  CSqliteSpy::Clear();
  RequestNow(Cache(), {Describe(MakeFile("a.tif"))});
  const auto traced = CSqliteSpy::TakeTraced();
  ASSERT_THAT(traced, SizeIs(5));
  EXPECT_EQ(traced[0], kSelect);
  EXPECT_EQ(traced[1], kDelete);
  EXPECT_EQ(traced[2], kInsert);
  EXPECT_EQ(traced[3], "DELETE FROM metadata WHERE filename = :FN");
  EXPECT_THAT(traced[4], ::testing::StartsWith("INSERT INTO metadata ("));
  EXPECT_THAT(CSqliteSpy::OpenStatements(), IsEmpty());
}

TEST_F(RecordsTest, StoredRowIsTakenWithoutLookingAtTheFile) {
  InsertRow("/nowhere/a.tif", 0, 123.5, 1, MakeStream(20, 10, 3, 8, 0x5A));
  CSqliteSpy::Clear();
  Script().RecordCalls(true);
  const auto desc = Describe(L"/nowhere/a.tif");
  RequestNow(Cache(), {desc});
  EXPECT_THAT(CSqliteSpy::TakeTraced(), ElementsAre(kSelect));
  EXPECT_THAT(Script().TakeCalls(),
              ElementsAre("GetCodecByName JPG", "OpenInputMemory " + std::to_string(16 + 600), "GetPictureInfo",
                          "ReadPicture 0 0", "Source.Release", "Codec.Release", "Manager.Release"));

  const SLookup look = Get(Cache(), desc);
  EXPECT_EQ(look.state, kQvThumbnailReady);
  EXPECT_EQ(look.picture.width, 20u);
  EXPECT_EQ(look.picture.height, 10u);
  EXPECT_EQ(UniformByte(look.picture), 0x5A);
  Cache().ReleaseThumbnail(1, desc);
  EXPECT_TRUE(m_diag.Take().empty());
}

TEST_F(RecordsTest, RowGivesTimeAndQuality) {
  InsertRow("/nowhere/high.tif", 0, 123.5, 1, MakeStream(20, 10, 3, 8, 1));
  InsertRow("/nowhere/standard.tif", 0, 123.5, 0, MakeStream(20, 10, 3, 8, 1));
  RequestNow(Cache(), {Describe(L"/nowhere/high.tif"), Describe(L"/nowhere/standard.tif")});
  EXPECT_EQ(PeekState(Cache(), Describe(L"/nowhere/high.tif", 0, 123.5)), kQvThumbnailReady);
  Cache().SetHighQuality(true);
  EXPECT_EQ(PeekState(Cache(), Describe(L"/nowhere/high.tif")), kQvThumbnailReady);
  EXPECT_EQ(Get(Cache(), Describe(L"/nowhere/standard.tif")).state, kQvThumbnailStale);
  EXPECT_EQ(Get(Cache(), Describe(L"/nowhere/high.tif", 0, 123.25)).state, kQvThumbnailStale);
  Cache().ReleaseThumbnail(1, Describe(L"/nowhere/standard.tif"));
  Cache().ReleaseThumbnail(1, Describe(L"/nowhere/high.tif"));
}

TEST_F(RecordsTest, PictureIsShapedAsTheRowSays) {
  InsertRow("/nowhere/a.tif", 0, 1, 0, MakeStream(33, 7, 3, 8, 9));
  CPlatformSpy::Record(true);
  RequestNow(Cache(), {Describe(L"/nowhere/a.tif")});
  EXPECT_THAT(CPlatformSpy::TakeCalls({"Reinit", "Free", "Stretch"}), ElementsAre("Reinit 33x7 0 8 3 true"));
}

TEST_F(RecordsTest, RowIsKeyedByLocationAndFlags) {
  const std::wstring path = MakeFile("a.tif");
  RequestNow(Cache(), {Describe(path, 0), Describe(path, 1)});
  EXPECT_THAT(CSql(DatabaseFile()).Rows("SELECT filename, flags FROM cache ORDER BY flags"),
              ElementsAre(Utf8(path) + "|0", Utf8(path) + "|1"));
}

TEST_F(RecordsTest, FlagsBindAsASignedNumber) {
  const std::wstring path = MakeFile("a.tif");
  RequestNow(Cache(), {Describe(path, 0xFFFFFFFFu)});
  EXPECT_EQ(CSql(DatabaseFile()).Value("SELECT flags FROM cache"), "-1");
  Cache().PurgeUnusedThumbnails();
  RequestNow(Cache(), {Describe(path, 0xFFFFFFFFu)});
  EXPECT_EQ(Script().RenderCount(path), 1);
}

TEST_F(RecordsTest, SavingAgainLeavesOneRowWithTheLatestValues) {
  CRecordingListener listener(Cache());
  const std::wstring path = MakeFile("a.tif");
  RequestNow(Cache(), {Describe(path)});
  EXPECT_EQ(CSql(DatabaseFile()).Value("SELECT quality FROM cache"), "0");
  Cache().SetHighQuality(true);
  EXPECT_EQ(PeekState(Cache(), Describe(path)), kQvThumbnailStale);
  listener.WaitFor(path);
  EXPECT_THAT(CSql(DatabaseFile()).Rows("SELECT flags, quality FROM cache"), ElementsAre("0|1"));
}

TEST_F(RecordsTest, NonAsciiLocationsAreStoredAsUtf8) {
  const std::wstring path = MakeFile("\xC3\xA4\xE6\xBC\xA2\xF0\x9F\x94\xAC.tif");
  RequestNow(Cache(), {Describe(path)});
  EXPECT_EQ(CSql(DatabaseFile()).Value("SELECT filename FROM cache"), Utf8(path));
  Cache().PurgeUnusedThumbnails();
  RequestNow(Cache(), {Describe(path)});
  EXPECT_EQ(Script().RenderCount(path), 1);
}

TEST_F(RecordsTest, QueuedRequestReadsTheRowToo) {
  CRecordingListener listener(Cache());
  InsertRow("/nowhere/a.tif", 0, 1, 0, MakeStream(20, 10, 3, 8, 7));
  Queue(Cache(), {Describe(L"/nowhere/a.tif")});
  listener.WaitFor(L"/nowhere/a.tif");
  EXPECT_EQ(PeekState(Cache(), Describe(L"/nowhere/a.tif")), kQvThumbnailReady);
}

struct SBadBlob {
  const char* name;
  std::vector<std::uint8_t> blob;
  const wchar_t* message;
};

class BadRowTest : public RecordsTest, public ::testing::WithParamInterface<SBadBlob> {};

TEST_P(BadRowTest, FailsTheEntryAndStays) {
  CQvStringA name = CQvStringUtils::WtoUTF8(m_ownerless.c_str());
  InsertRow(name.Str(), 0, 5, 0, GetParam().blob);
  RequestNow(Cache(), {Describe(m_ownerless)});
  const auto messages = m_diag.Take();
  ASSERT_THAT(messages, SizeIs(1));
  EXPECT_EQ(messages[0].text, GetParam().message);
  EXPECT_EQ(messages[0].format, L"%s");
  EXPECT_EQ(messages[0].file, kSource);
  EXPECT_EQ(Get(Cache(), Describe(m_ownerless)).state, kQvThumbnailFailed);
  EXPECT_FALSE(Get(Cache(), Describe(m_ownerless)).HasPicture());
  EXPECT_EQ(CPlatformSpy::LivePictures(), 0);
  EXPECT_EQ(CSql(DatabaseFile()).Value("SELECT count(*) FROM cache"), "1");
  EXPECT_THAT(CSqliteSpy::OpenStatements(), IsEmpty());
}

TEST_P(BadRowTest, IsMadeAnewFromTheFile) {
  const std::wstring path = MakeFile("a.tif");
  InsertRow(Utf8(path), 0, 5, 0, GetParam().blob);
  RequestNow(Cache(), {Describe(path)});
  EXPECT_THAT(m_diag.TakeTexts(), ElementsAre(GetParam().message));
  EXPECT_EQ(PeekState(Cache(), Describe(path)), kQvThumbnailReady);
  Cache().PurgeUnusedThumbnails();
  RequestNow(Cache(), {Describe(path)});
  EXPECT_EQ(Script().RenderCount(path), 1) << "the row was replaced by a good one";
}

INSTANTIATE_TEST_SUITE_P(Blobs, BadRowTest,
                         ::testing::Values(SBadBlob{"grey", MakeStream(20, 10, 1, 8, 1), kBadPicture},
                                           SBadBlob{"four_components", MakeStream(20, 10, 4, 8, 1), kBadPicture},
                                           SBadBlob{"sixteen_bits", MakeStream(20, 10, 3, 16, 1), kBadPicture},
                                           SBadBlob{"seven_bits", MakeStream(20, 10, 3, 7, 1), kBadPicture},
                                           SBadBlob{"no_width", MakeStream(0, 10, 3, 8, 1), kBadPicture},
                                           SBadBlob{"no_height", MakeStream(20, 0, 3, 8, 1), kBadPicture},
                                           SBadBlob{"no_picture", {1, 2, 3}, kBadPicture},
                                           SBadBlob{"empty", {}, kBadPicture},
                                           SBadBlob{"cut_short", MakeStream(20, 10, 3, 8, 1, 50), kBadPixels}),
                         [](const auto& instance) { return instance.param.name; });

TEST_F(RecordsTest, PictureFarLargerThanItsBoxIsMadeAnewUndecoded) {
  Cache().SetThumbnailBox(10, 5, false);
  Cache().SetThumbnailBox(20, 10, true);
  const struct {
    std::uint32_t width, height;
    int quality;
    bool served;
  } rows[] = {{80, 40, 0, true},        {81, 40, 0, false},   {80, 41, 0, false}, {160, 80, 1, true},
              {161, 80, 1, false},      {160, 81, 1, false},  {81, 1, 1, true},   {0xFFFFFFFF, 1, 0, false},
              {65500, 65500, 0, false}, {1, 0xFFFF, 1, false}};
  int number = 0;
  for (const auto& row : rows) {
    const std::wstring path = MakeFile("f" + std::to_string(number++) + ".tif");
    InsertRow(Utf8(path), 0, 5, row.quality,
              MakeStream(row.width, row.height, 3, 8, 1, row.served ? row.width * row.height * 3 : 10));
    CPlatformSpy::Record(true);
    RequestNow(Cache(), {Describe(path)});
    EXPECT_EQ(PeekState(Cache(), Describe(path)), kQvThumbnailReady);
    EXPECT_EQ(Script().RenderCount(path), row.served ? 0 : 1) << row.width << "x" << row.height;
    if (!row.served) {
      EXPECT_THAT(m_diag.TakeTexts(), ElementsAre(kBadPicture));
      EXPECT_THAT(CPlatformSpy::TakeCalls({"Reinit"}), SizeIs(1)) << "only the new picture took memory";
    }
    Cache().PurgeUnusedThumbnails();
    RequestNow(Cache(), {Describe(path)});
    EXPECT_EQ(Script().RenderCount(path), row.served ? 0 : 1) << "the row was replaced";
  }
  EXPECT_TRUE(m_diag.Take().empty());
}

TEST_F(RecordsTest, HugeRowIsMadeAnew) {
  const std::wstring path = MakeFile("a.tif");
  CSql(DatabaseFile())
      .Run("INSERT INTO cache (filename, flags, lastWritten, binData, quality) VALUES ('" + Utf8(path) +
           "', 0, 1, zeroblob(68000000), 0)");
  RequestNow(Cache(), {Describe(path)});
  EXPECT_EQ(PeekState(Cache(), Describe(path)), kQvThumbnailReady);
  EXPECT_EQ(Script().RenderCount(path), 1);
  EXPECT_LT(CSql(DatabaseFile()).Number("SELECT max(length(binData)) FROM cache"), 1000000);
}

TEST_F(RecordsTest, MissingCodecFailsTheEntry) {
  InsertRow(Utf8(m_ownerless), 0, 5, 0, MakeStream(20, 10, 3, 8, 1));
  Script().FailCodecByName(-9);
  RequestNow(Cache(), {Describe(m_ownerless)});
  EXPECT_THAT(m_diag.TakeTexts(), ElementsAre(kBadPicture));
  EXPECT_EQ(PeekState(Cache(), Describe(m_ownerless)), kQvThumbnailFailed);
}

TEST_F(RecordsTest, FailedReadFreesThePictureHeld) {
  // A dormant thumbnail that still has its picture, shown by nobody: withdrawn after its picture went stale is ready
  // again, so only a viewer makes one; see the eviction instead. Here the row is damaged behind a remade entry.
  const std::wstring path = MakeFile("a.tif");
  RequestNow(Cache(), {Describe(path)});
  Cache().SetCacheLimit(0);
  RequestNow(Cache(), {Describe(MakeFile("b.tif"))});
  CSql(DatabaseFile()).Run("UPDATE cache SET binData = x'00' WHERE filename = '" + Utf8(path) + "'");
  RequestNow(Cache(), {Describe(path)});
  EXPECT_THAT(m_diag.TakeTexts(), ElementsAre(kBadPicture));
  EXPECT_EQ(Script().RenderCount(path), 2);
  EXPECT_EQ(PeekState(Cache(), Describe(path)), kQvThumbnailReady);
}

TEST_F(RecordsTest, NoRowAndNoPictureYieldsNone) {
  RequestNow(Cache(), {Describe(m_ownerless)});
  EXPECT_EQ(Get(Cache(), Describe(m_ownerless)).state, kQvThumbnailNone);
  EXPECT_TRUE(m_diag.Take().empty());
}

TEST_F(RecordsTest, NoRowAndAPictureYieldsStaleAndLeavesIt) {
  // The worker finds the stale picture shown again and leaves it, dormant, with its pixels.
  CRecordingListener listener(Cache());
  CImageDatabase owner;
  owner.records[1].fields[L"image"] = standin::SFile();
  RequestNow(Cache(), {Describe(m_ownerless, 0, 0.0, &owner)});
  OccupyWorkers(listener);
  Get(Cache(), Describe(m_ownerless), 1);
  Cache().ReleaseThumbnail(1, Describe(m_ownerless, 0, 5.0));
  const SLookup shown = Get(Cache(), Describe(m_ownerless, 0, 5.0), 2);
  ASSERT_EQ(shown.state, kQvThumbnailStale);
  FreeWorkers(listener);
  Drain(listener);

  RequestNow(Cache(), {Describe(m_ownerless)});
  const SLookup look = Get(Cache(), Describe(m_ownerless, 0, 5.0), 3);
  EXPECT_EQ(look.state, kQvThumbnailStale);
  EXPECT_EQ(look.picture.data, shown.picture.data);
  EXPECT_EQ(UniformByte(shown.picture), standin::RenderedByte(L"db:1:image", 0));
  Cache().ReleaseThumbnail(2, Describe(m_ownerless, 0, 5.0));
  Cache().ReleaseThumbnail(3, Describe(m_ownerless, 0, 5.0));
  Drain(listener);
}

TEST_F(RecordsTest, FailedLookupIsReportedAndCountsAsNoRow) {
  CSql(DatabaseFile()).Run("DROP TABLE cache");
  RequestNow(Cache(), {Describe(m_ownerless)});
  const auto messages = m_diag.Take();
  ASSERT_THAT(messages, SizeIs(1));
  EXPECT_EQ(messages[0].kind, EQvDiagKind::Assertion);
  EXPECT_EQ(messages[0].text, L"res != SQLITE_DONE && res != SQLITE_ROW");
  EXPECT_EQ(messages[0].file, kSource);
  EXPECT_EQ(Get(Cache(), Describe(m_ownerless)).state, kQvThumbnailNone);
}

TEST_F(RecordsTest, LockedLookupIsReported) {
  sqlite3_busy_timeout(CSqliteSpy::Connection(), 0);
  const std::wstring path = MakeFile("a.tif");
  CSql holder(DatabaseFile());
  holder.Run("BEGIN EXCLUSIVE");
  RequestNow(Cache(), {Describe(path)});
  holder.Run("COMMIT");
  EXPECT_EQ(PeekState(Cache(), Describe(path)), kQvThumbnailReady) << "the picture is made all the same";
  EXPECT_THAT(m_diag.TakeTexts(), Contains(L"res != SQLITE_DONE && res != SQLITE_ROW"));
}

TEST_F(RecordsTest, PictureIsDescribedToTheOutput) {
  Script().RecordCalls(true);
  for (const bool high : {false, true}) {
    Cache().SetHighQuality(high);
    RequestNow(Cache(), {Describe(MakeFile(high ? "high.tif" : "standard.tif", standin::SFile(1000, 501)))});
  }
  const auto outputs = Script().Outputs();
  ASSERT_THAT(outputs, SizeIs(2));
  const standin::SOutput& standard = outputs[0];
  EXPECT_EQ(standard.format.width, 359u);
  EXPECT_EQ(standard.format.height, 180u);
  EXPECT_EQ(standard.format.tileWidth, 359u);
  EXPECT_EQ(standard.format.tileHeight, 180u);
  EXPECT_GE(standard.format.widthBytes, 359u * 3);
  EXPECT_EQ(standard.format.bpcInMemory, 8);
  EXPECT_EQ(standard.format.bpcSignificant, 8);
  EXPECT_EQ(standard.format.components, 3u);
  EXPECT_EQ(standard.format.pixelType, kQvPixelUnsigned);
  EXPECT_EQ(standard.format.sequenceCount, 1u);
  for (const standin::SOutput& output : outputs) EXPECT_EQ(output.quality, 0.8);
}

TEST_F(RecordsTest, OutputCallsAreInOrder) {
  Script().RecordCalls(true);
  RequestNow(Cache(), {Describe(MakeFile("a.tif"))});
  const auto calls = Script().TakeCalls();
  const auto at = std::find(calls.begin(), calls.end(), "GetCodecByName JPG");
  ASSERT_NE(at, calls.end());
  EXPECT_THAT(std::vector<std::string>(at, calls.end()),
              ElementsAre("GetCodecByName JPG", "CreateOutputMemory", "Codec.Release", "SetPictureFormat",
                          "WritePicture 0 0", "Finish", "Output.Release", "Manager.Release"));
}

TEST_F(RecordsTest, FailedDeleteSkipsTheInsertSilently) {
  sqlite3_busy_timeout(CSqliteSpy::Connection(), 0);
  const std::wstring path = MakeFile("a.tif");
  {
    CSql holder(DatabaseFile());
    holder.Run("BEGIN IMMEDIATE");
    CSqliteSpy::Clear();
    RequestNow(Cache(), {Describe(path)});
    holder.Run("COMMIT");
  }
  const auto calls = CSqliteSpy::TakeCalls();
  EXPECT_THAT(CallsOf(calls, kDelete), ElementsAre("prepare " + kDelete, "bind_text 1 '" + Utf8(path) + "'",
                                                   "bind_int 2 0", "step 5", "clear", "reset"));
  EXPECT_THAT(calls, ::testing::Not(Contains("prepare " + kInsert)));
  EXPECT_TRUE(m_diag.Take().empty());
  EXPECT_EQ(PeekState(Cache(), Describe(path)), kQvThumbnailReady);
  EXPECT_THAT(CSqliteSpy::OpenStatements(), Contains(kDelete));
  CSqliteSpy::FinalizeOpenStatements();
}

TEST_F(RecordsTest, SavingSurvivesTablesThatAreGone) {
  CRecordingListener listener(Cache());
  CSql(DatabaseFile()).Run("DROP TABLE cache; DROP TABLE metadata");
  const std::wstring now = MakeFile("now.tif"), queued = MakeFile("queued.tif");
  RequestNow(Cache(), {Describe(now)});
  Queue(Cache(), {Describe(queued)});
  listener.WaitFor(queued);
  EXPECT_EQ(PeekState(Cache(), Describe(now)), kQvThumbnailReady);
  EXPECT_EQ(PeekState(Cache(), Describe(queued)), kQvThumbnailReady);
  EXPECT_THAT(CSqliteSpy::OpenStatements(), IsEmpty());
}

TEST_F(RecordsTest, CloseFinishesWhatWasLeft) {
  sqlite3_busy_timeout(CSqliteSpy::Connection(), 0);
  {
    CSql holder(DatabaseFile());
    holder.Run("BEGIN IMMEDIATE");
    RequestNow(Cache(), {Describe(MakeFile("a.tif"))});
    holder.Run("COMMIT");
  }
  EXPECT_FALSE(CSqliteSpy::OpenStatements().empty());
  EXPECT_EQ(Close(), 0);
  EXPECT_EQ(CSqliteSpy::TakeCalls().back(), "close 0");
  EXPECT_EQ(CSqliteSpy::OpenConnections(), 0);
}

TEST_F(RecordsTest, FailedInsertIsReportedTwice) {
  CSql(DatabaseFile())
      .Run(
          "DROP TABLE cache; CREATE TABLE cache (filename TEXT, lastWritten REAL, flags INTEGER, binData BLOB, quality "
          "INTEGER, \xC3\xA4 TEXT NOT NULL)");
  const std::wstring path = MakeFile("a.tif");
  RequestNow(Cache(), {Describe(path)});
  const auto messages = m_diag.Take();
  ASSERT_THAT(messages, SizeIs(2));
  EXPECT_EQ(messages[0].text,
            L"THUMBCACHE: SaveThumbnailToDatabase - sqlite3_step failed: NOT NULL constraint failed: cache.\u00E4");
  EXPECT_EQ(messages[1].text,
            L"THUMBCACHE: SaveThumbnailToDatabase - sqlite3_finalize failed: NOT NULL constraint failed: cache.\u00E4");
  for (const SDiag& message : messages) {
    EXPECT_EQ(message.format, L"%s");
    EXPECT_EQ(message.file, kSource);
  }
  EXPECT_EQ(PeekState(Cache(), Describe(path)), kQvThumbnailReady);
  EXPECT_EQ(CSql(DatabaseFile()).Value("SELECT count(*) FROM cache"), "0");
}

TEST_F(RecordsTest, MessageBelongsToTheFailedStatement) {
  CSqliteSpy::FailFinalize("INSERT INTO cache", SQLITE_FULL);
  RequestNow(Cache(), {Describe(MakeFile("a.tif"))});
  const auto texts = m_diag.TakeTexts();
  ASSERT_THAT(texts, SizeIs(1));
  EXPECT_TRUE(texts[0].starts_with(L"THUMBCACHE: SaveThumbnailToDatabase - sqlite3_finalize failed: "));
}

class EncodingTest : public RecordsTest, public ::testing::WithParamInterface<int> {};

TEST_P(EncodingTest, FailedEncodingNeverStepsTheInsert) {
  const int step = GetParam();
  Script().FailOutput(step == 0 ? -9 : 0, step == 1 ? -9 : 0, step == 2 ? -9 : 0, step == 3 ? -9 : 0);
  if (step == 4) Script().FailCodecByName(-9);
  const std::wstring path = MakeFile("a.tif");
  RequestNow(Cache(), {Describe(path)});
  EXPECT_THAT(CSqliteSpy::TakePrepared(), Contains(kInsert));
  EXPECT_THAT(CSqliteSpy::TakeTraced(), ::testing::Not(Contains(kInsert)));
  EXPECT_TRUE(m_diag.Take().empty());
  EXPECT_THAT(CSqliteSpy::OpenStatements(), IsEmpty());
  EXPECT_EQ(PeekState(Cache(), Describe(path)), kQvThumbnailReady);
  EXPECT_EQ(CSql(DatabaseFile()).Value("SELECT count(*) FROM cache"), "0");
  EXPECT_EQ(CSql(DatabaseFile()).Value("SELECT count(*) FROM metadata"), "1");
}

INSTANTIATE_TEST_SUITE_P(Steps, EncodingTest, ::testing::Range(0, 5));

}  // namespace
}  // namespace qvtest
