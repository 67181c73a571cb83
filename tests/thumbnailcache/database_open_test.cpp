#include <fenv.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "tests/support/file_bytes.h"
#include "tests/thumbnailcache/support/service_test.h"

namespace qvtest {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::SizeIs;

class DatabaseOpenTest : public ServiceTest {
 protected:
  void SetUp() override {
    ServiceTest::SetUp();
    m_threads = CountThreads();
  }

  // A failed open: status, one message, no worker; and the next good open works.
  void ExpectRefused(const std::wstring& path, const std::wstring& message) {
    m_diag.Take();
    EXPECT_EQ(Cache().OpenDatabase(path.c_str()), -9);
    const auto messages = m_diag.Take();
    ASSERT_THAT(messages, SizeIs(1));
    EXPECT_EQ(messages[0].text, L"THUMBCACHE: " + message);
    EXPECT_EQ(messages[0].format, L"%s");
    EXPECT_EQ(messages[0].file, kSource);
    EXPECT_GT(messages[0].line, 0);
    EXPECT_EQ(CountThreads(), m_threads);

    EXPECT_EQ(Host().Open(Folder().Wide("good.db")), 0);
    EXPECT_EQ(CountThreads(), m_threads + 2);
    EXPECT_EQ(Host().Close(), 0);
  }

  std::string FirstOpen() {
    for (const std::string& call : CSqliteSpy::TakeCalls())
      if (call.starts_with("open ")) return call;
    return "";
  }

  int m_threads = 0;
};

TEST_F(DatabaseOpenTest, NoPathMeansTheSharedDocumentsFolder) {
  for (const wchar_t* path : {static_cast<const wchar_t*>(nullptr), L""}) {
    CSqliteSpy::RedirectOpens(DatabaseFile());
    EXPECT_EQ(Cache().OpenDatabase(path), 0);
    EXPECT_EQ(FirstOpen(), "open /var/lib/qvdocuments/OrbThumbCache.db 6");
    EXPECT_EQ(Cache().CloseDatabase(), 0);
  }
}

TEST_F(DatabaseOpenTest, PathIsTakenVerbatim) {
  const std::wstring path = Folder().Wide("") + L"\u00C4rchiv \u6F22 %s.thumbs";
  EXPECT_EQ(Host().Open(path), 0);
  EXPECT_EQ(FirstOpen(), "open " + Utf8(path) + " 6");
  EXPECT_TRUE(std::filesystem::exists(Utf8(path)));
}

TEST_F(DatabaseOpenTest, OverlongPathIsNeverCutShort) {
  const std::string folder(200, 'x'), name(100, 'y');
  std::filesystem::create_directory(Folder().Path(folder));
  const std::int32_t result = Host().Open(Folder().Wide(folder + "/" + name));
  EXPECT_TRUE(result == 0 || result == -9) << result;
  Host().Close();
  EXPECT_EQ(std::filesystem::exists(Folder().Path(folder + "/" + name)), result == 0);
  for (const auto& item : std::filesystem::directory_iterator(Folder().Path(folder)))
    EXPECT_THAT(item.path().filename().string(), ::testing::StartsWith(name));
}

TEST_F(DatabaseOpenTest, OverlongNameIsRefused) {
  EXPECT_EQ(Host().Open(Folder().Wide(std::string(6000, 'x'))), -9);
  EXPECT_EQ(CountThreads(), m_threads);
  EXPECT_EQ(Open(), 0);
}

TEST_F(DatabaseOpenTest, FreshFileGetsItsTablesInOrder) {
  ASSERT_EQ(Open(), 0);
  const auto calls = CSqliteSpy::TakeCalls();
  ASSERT_GE(calls.size(), 2u);
  EXPECT_EQ(calls[0], "open " + DatabaseFile() + " 6");
  EXPECT_EQ(calls[1], "busy 5000");
  EXPECT_THAT(CSqliteSpy::OpenStatements(), SizeIs(0));
  EXPECT_THAT(CSql(DatabaseFile()).Rows("SELECT name FROM sqlite_master WHERE type='table' ORDER BY rowid"),
              ElementsAre("cache", "metadata", "experiments", "history", "stored"));
  EXPECT_TRUE(m_diag.Take().empty());
}

TEST_F(DatabaseOpenTest, OpenStartsTwoWorkersAndCloseJoinsThem) {
  ASSERT_EQ(Open(), 0);
  EXPECT_EQ(CountThreads(), m_threads + 2);
  CSqliteSpy::TakeCalls();
  EXPECT_EQ(Close(), 0);
  EXPECT_TRUE(WaitForThreads(m_threads));
  EXPECT_THAT(CSqliteSpy::TakeCalls(), ElementsAre("close 0"));
}

TEST_F(DatabaseOpenTest, EverySuccessfulOpenResetsTheSettings) {
  ASSERT_EQ(Open(), 0);
  Cache().SetCacheLimit(3);
  Cache().SetHighQuality(true);
  Cache().SetThumbnailBox(1, 2, true);
  Cache().SetThumbnailBox(3, 4, false);
  Close();
  EXPECT_EQ(Cache().GetCacheLimit(), 3u);

  EXPECT_EQ(Cache().OpenDatabase(Folder().Wide().c_str()), -9);
  EXPECT_EQ(Cache().GetCacheLimit(), 3u) << "a failed open sets no defaults";
  m_diag.Take();

  ASSERT_EQ(Open(), 0);
  EXPECT_EQ(Cache().GetCacheLimit(), sizeof(void*) == 8 ? 1000u : 600u);
  bool high = true;
  Cache().GetHighQuality(&high);
  EXPECT_FALSE(high);
  std::uint32_t width = 0, height = 0;
  Cache().GetThumbnailBox(true, &width, &height);
  EXPECT_EQ(width, 640u);
  EXPECT_EQ(height, 240u);
  Cache().GetThumbnailBox(false, &width, &height);
  EXPECT_EQ(width, 480u);
  EXPECT_EQ(height, 180u);
}

TEST_F(DatabaseOpenTest, FolderThatIsNotThereIsRefused) {
  ExpectRefused(Folder().Wide("nowhere/cache.db"), L"unable to open database file");
  EXPECT_FALSE(std::filesystem::exists(Folder().Path("nowhere")));
}

TEST_F(DatabaseOpenTest, FolderInPlaceOfAFileIsRefused) {
  ExpectRefused(Folder().Wide(), L"unable to open database file");
}

TEST_F(DatabaseOpenTest, ConnectionOfAFailedOpenStaysUntilTheNextClose) {
  for (int round = 0; round < 3; ++round) {
    EXPECT_EQ(Cache().OpenDatabase(Folder().Wide().c_str()), -9);
    EXPECT_THAT(CSqliteSpy::TakeCalls(), ElementsAre("open " + Folder().Path() + " 6"));
  }
  EXPECT_EQ(CSqliteSpy::OpenConnections(), 3);
  EXPECT_EQ(Cache().CloseDatabase(), 0);
  EXPECT_EQ(CSqliteSpy::OpenConnections(), 0);
}

TEST_F(DatabaseOpenTest, FileThatIsNoDatabaseIsRefusedAndKept) {
  const std::string content(4096, 'x');
  const std::wstring path = Folder().MakeFileWide("noise.db", content);
  ExpectRefused(path, L"file is not a database");
  EXPECT_EQ(ReadTextFile(Utf8(path)), content);
}

TEST_F(DatabaseOpenTest, DamagedDatabaseIsRefused) {
  CSql(DatabaseFile()).Run("CREATE TABLE cache (filename TEXT)");
  std::fstream file(DatabaseFile(), std::ios::binary | std::ios::in | std::ios::out);
  file.seekp(100);
  file << std::string(200, '\xFF');
  file.close();
  EXPECT_EQ(Open(), -9);
  const auto texts = m_diag.TakeTexts();
  ASSERT_THAT(texts, SizeIs(1));
  EXPECT_EQ(texts[0], L"THUMBCACHE: database disk image is malformed");
  EXPECT_EQ(CSqliteSpy::OpenConnections(), 0);
}

// Gives up the superuser's right to write everywhere while it lives.
class COrdinaryUser {
 public:
  COrdinaryUser() : m_user(geteuid()), m_group(getegid()) {
    if (m_user == 0) m_dropped = setegid(65534) == 0 && seteuid(65534) == 0;
  }
  COrdinaryUser(const COrdinaryUser&) = delete;
  COrdinaryUser& operator=(const COrdinaryUser&) = delete;
  ~COrdinaryUser() {
    if (m_dropped && (seteuid(m_user) != 0 || setegid(m_group) != 0)) std::abort();
  }

 private:
  uid_t m_user;
  gid_t m_group;
  bool m_dropped = false;
};

// What a user may do who may read the folder's files and write none.
TEST_F(DatabaseOpenTest, ReadOnlyFileWithItsTablesIsOpened) {
  ASSERT_EQ(Open(), 0);
  const std::wstring stored = MakeFile("stored.tif"), other = MakeFile("other.tif");
  RequestNow(Cache(), {Describe(stored)});
  Cache().WriteHistory(L"a.tif", L"ada", 2.5, 7);
  Close();
  chmod(DatabaseFile().c_str(), 0444);
  chmod(Folder().Path().c_str(), 0755);
  {
    COrdinaryUser user;
    ASSERT_EQ(Open(), 0);
    EXPECT_TRUE(m_diag.Take().empty());
    std::vector<int> ids;
    std::vector<double> times;
    std::vector<CQvStringW> names;
    EXPECT_EQ(Cache().ReadHistory(L"ada", 0, 9, &ids, &times, &names), 0);
    EXPECT_THAT(ids, ElementsAre(7));
    RequestNow(Cache(), {Describe(stored), Describe(other)});
    EXPECT_EQ(PeekState(Cache(), Describe(stored)), kQvThumbnailReady);
    EXPECT_EQ(PeekState(Cache(), Describe(other)), kQvThumbnailReady);
    EXPECT_EQ(Script().RenderCount(stored), 1) << "its row was read";
    EXPECT_NE(Cache().WriteHistory(L"b.tif", L"ada", 2.5, 7), 0);
    const auto texts = m_diag.TakeTexts();
    ASSERT_FALSE(texts.empty());
    EXPECT_TRUE(texts.back().ends_with(L"attempt to write a readonly database")) << Utf8(texts.back());
    EXPECT_EQ(Close(), 0);
  }
  chmod(DatabaseFile().c_str(), 0644);
  EXPECT_EQ(CSql(DatabaseFile()).Value("SELECT count(*) FROM history"), "1");
}

TEST_F(DatabaseOpenTest, ReadOnlyFileWithoutItsTablesIsRefused) {
  const std::string file = Folder().Path("other.db");
  CSql(file).Run("CREATE TABLE other (x)");
  chmod(file.c_str(), 0444);
  chmod(Folder().Path().c_str(), 0755);
  {
    COrdinaryUser user;
    EXPECT_EQ(Host().Open(CQvStringUtils::UTF8toW(file.c_str()).Str()), -9);
    EXPECT_THAT(m_diag.TakeTexts(), ElementsAre(L"THUMBCACHE: Failed to create the cache table. attempt to write a "
                                                L"readonly database"));
    EXPECT_EQ(CountThreads(), m_threads);
    EXPECT_EQ(CSqliteSpy::OpenConnections(), 0);
  }
  chmod(file.c_str(), 0644);
  EXPECT_EQ(Host().Open(CQvStringUtils::UTF8toW(file.c_str()).Str()), 0);
}

// Kept in write-ahead mode by somebody who may write there.
class ForeignFolderTest : public DatabaseOpenTest {
 protected:
  void SetUp() override {
    DatabaseOpenTest::SetUp();
    m_file = Folder().MakeFolder("odd %41?#folder") + "/cache.db";
    ASSERT_EQ(Host().Open(FileWide()), 0);
    Cache().WriteHistory(L"a.tif", L"ada", 2.5, 7);
    Close();
    CSql(m_file).Run("PRAGMA journal_mode=WAL");
    ASSERT_EQ(chmod(Folder().Path().c_str(), 0755), 0);
  }
  void TearDown() override {
    MakeWritable(true);
    DatabaseOpenTest::TearDown();
  }
  std::wstring FileWide() { return CQvStringUtils::UTF8toW(m_file.c_str()).Str(); }
  void MakeWritable(bool writable) {
    EXPECT_EQ(chmod(std::filesystem::path(m_file).parent_path().c_str(), writable ? 0777 : 0555), 0);
  }
  void ExpectReadable() {
    const COrdinaryUser user;
    ASSERT_EQ(Host().Open(FileWide()), 0);
    EXPECT_TRUE(m_diag.Take().empty());
    std::vector<int> ids;
    std::vector<double> times;
    std::vector<CQvStringW> names;
    EXPECT_EQ(Cache().ReadHistory(L"ada", 0, 9, &ids, &times, &names), 0);
    EXPECT_THAT(ids, ElementsAre(7));
    EXPECT_NE(Cache().WriteHistory(L"b.tif", L"ada", 2.5, 7), 0);
    EXPECT_FALSE(m_diag.Take().empty());
    Close();
  }

  std::string m_file;
};

TEST_F(ForeignFolderTest, FileWithoutALogIsReadAsOneThatDoesNotChange) {
  MakeWritable(false);
  ExpectReadable();
  EXPECT_EQ(CSqliteSpy::OpenConnections(), 0);
}

TEST_F(ForeignFolderTest, FileThatIsInUseIsReadWithItsLog) {
  ASSERT_EQ(chmod(m_file.c_str(), 0644), 0);
  CSql owner(m_file);
  owner.Run("UPDATE history SET M_acqTime = 3");
  MakeWritable(false);
  ExpectReadable();
  EXPECT_EQ(owner.Value("SELECT count(*) FROM history"), "1");
}

TEST_F(ForeignFolderTest, FileThatIsNoDatabaseIsRefusedThereToo) {
  { std::ofstream(m_file, std::ios::trunc) << std::string(4096, '\2'); }
  MakeWritable(false);
  const COrdinaryUser user;
  EXPECT_EQ(Host().Open(FileWide()), -9);
  EXPECT_THAT(m_diag.TakeTexts(), ElementsAre(L"THUMBCACHE: file is not a database"));
  EXPECT_EQ(CSqliteSpy::OpenConnections(), 0);
}

// Puts SQLite into another threading mode while it lives. No connection may be open.
class CThreadingMode {
 public:
  explicit CThreadingMode(int mode) { Set(mode); }
  CThreadingMode(const CThreadingMode&) = delete;
  CThreadingMode& operator=(const CThreadingMode&) = delete;
  ~CThreadingMode() { Set(SQLITE_CONFIG_SERIALIZED); }

 private:
  static void Set(int mode) {
    EXPECT_EQ(sqlite3_shutdown(), SQLITE_OK);
    EXPECT_EQ(sqlite3_config(mode), SQLITE_OK);
    EXPECT_EQ(sqlite3_initialize(), SQLITE_OK);
  }
};

TEST_F(DatabaseOpenTest, LibraryWithoutTheSerialisedModeIsRefused) {
  for (const int mode : {SQLITE_CONFIG_MULTITHREAD, SQLITE_CONFIG_SINGLETHREAD}) {
    const CThreadingMode changed(mode);
    EXPECT_EQ(Open(), -9);
    const auto texts = m_diag.TakeTexts();
    ASSERT_THAT(texts, SizeIs(1));
    EXPECT_TRUE(texts[0].starts_with(L"THUMBCACHE: SQLite does not protect a connection")) << Utf8(texts[0]);
    EXPECT_EQ(CSqliteSpy::OpenConnections(), 0);
    EXPECT_EQ(CountThreads(), m_threads);
  }
  EXPECT_EQ(Open(), 0);
}

TEST_F(DatabaseOpenTest, LockedFileIsRefused) {
  CSqliteSpy::OverrideBusyTimeout(0);
  CSql holder(DatabaseFile());
  holder.Run("BEGIN EXCLUSIVE");
  EXPECT_EQ(Open(), -9);
  EXPECT_THAT(m_diag.TakeTexts(), ElementsAre(L"THUMBCACHE: database is locked"));
  EXPECT_EQ(CountThreads(), m_threads);
  EXPECT_EQ(CSqliteSpy::OpenConnections(), 0);
  holder.Run("COMMIT");
  EXPECT_EQ(Open(), 0);
}

TEST_F(DatabaseOpenTest, CloseAfterAFailedOpenReturnsZero) {
  CSql(DatabaseFile()).Run("CREATE TABLE stored (storedID INTEGER, storedParentID INTEGER, filename TEXT)");
  EXPECT_EQ(Open(), -9);
  EXPECT_EQ(CountThreads(), m_threads) << "no worker runs";
  EXPECT_EQ(Cache().CloseDatabase(), 0);
  CSqliteSpy::TakeCalls();
  EXPECT_EQ(CountThreads(), m_threads);
}

TEST_F(DatabaseOpenTest, CloseWithoutOpenReturnsZero) {
  EXPECT_EQ(Cache().CloseDatabase(), 0);
  EXPECT_THAT(CSqliteSpy::TakeCalls(), SizeIs(0));
  EXPECT_EQ(Open(), 0);
  EXPECT_EQ(Close(), 0);
  EXPECT_EQ(Cache().CloseDatabase(), 0) << "a second close must not close the connection twice";
}

TEST_F(DatabaseOpenTest, OpenedTwiceLosesNothing) {
  ASSERT_EQ(Open(), 0);
  const std::wstring path = MakeFile("a.tif");
  RequestNow(Cache(), {Describe(path)});
  ASSERT_EQ(Host().Open(Folder().Wide("second.db")), 0);
  EXPECT_TRUE(WaitForThreads(m_threads + 2));
  EXPECT_EQ(CSqliteSpy::OpenConnections(), 1);
  RequestNow(Cache(), {Describe(path)});
  EXPECT_EQ(CSql(Folder().Path("second.db")).Value("SELECT count(*) FROM cache"), "1");
}

TEST_F(DatabaseOpenTest, OpenMasksFloatingPointExceptions) {
  fenv_t before;
  ASSERT_EQ(fegetenv(&before), 0);
  feenableexcept(FE_DIVBYZERO | FE_INVALID | FE_OVERFLOW);
  EXPECT_EQ(Open(), 0);
  EXPECT_EQ(fegetexcept(), 0);
  fesetenv(&before);
}

#if defined(__x86_64__)

// The exception masks of the calling thread, one bit each; the second lowest is that of denormal operands.
constexpr unsigned kAllMasks = 0x3F;
unsigned SseMasks() { return (__builtin_ia32_stmxcsr() >> 7) & kAllMasks; }
unsigned X87Masks() {
  std::uint16_t control = 0;
  asm volatile("fnstcw %0" : "=m"(control));
  return control & kAllMasks;
}
void UnmaskAll() {
  std::uint16_t control = 0;
  asm volatile("fnstcw %0" : "=m"(control));
  control = static_cast<std::uint16_t>(control & ~kAllMasks);
  asm volatile("fldcw %0" : : "m"(control));
  __builtin_ia32_ldmxcsr(__builtin_ia32_stmxcsr() & ~(kAllMasks << 7));
}

TEST_F(DatabaseOpenTest, OpenMasksDenormalOperandsTooInBothUnits) {
  fenv_t before;
  ASSERT_EQ(fegetenv(&before), 0);
  std::feclearexcept(FE_ALL_EXCEPT);
  unsigned sse = 0, x87 = 0;
  const std::wstring path = Folder().Wide("cache.db");
  UnmaskAll();
  const std::int32_t opened = Cache().OpenDatabase(path.c_str());
  sse = SseMasks();
  x87 = X87Masks();
  fesetenv(&before);
  EXPECT_EQ(opened, 0);
  EXPECT_EQ(sse, kAllMasks);
  EXPECT_EQ(x87, kAllMasks);
  EXPECT_EQ(Cache().CloseDatabase(), 0);
}

TEST_F(DatabaseOpenTest, FailedOpenMasksAsWell) {
  fenv_t before;
  ASSERT_EQ(fegetenv(&before), 0);
  std::feclearexcept(FE_ALL_EXCEPT);
  const std::wstring path = Folder().Wide("nowhere/cache.db");
  UnmaskAll();
  const std::int32_t opened = Cache().OpenDatabase(path.c_str());
  const unsigned sse = SseMasks(), x87 = X87Masks();
  fesetenv(&before);
  EXPECT_EQ(opened, -9);
  EXPECT_EQ(sse, kAllMasks);
  EXPECT_EQ(x87, kAllMasks);
  m_diag.Take();
  Cache().CloseDatabase();
}

TEST_F(DatabaseOpenTest, WorkersComputeWithEverythingMasked) {
  fenv_t before;
  ASSERT_EQ(fegetenv(&before), 0);
  std::feclearexcept(FE_ALL_EXCEPT);
  const std::wstring path = Folder().Wide("cache.db");
  UnmaskAll();
  const std::int32_t opened = Host().Open(path);
  fesetenv(&before);
  ASSERT_EQ(opened, 0);
  std::atomic<unsigned> sse{0}, x87{0};
  Script().SetRenderHook([&](const std::wstring&) {
    sse = SseMasks();
    x87 = X87Masks();
  });
  CRecordingListener listener(Cache());
  MakeOne(listener);
  EXPECT_EQ(sse, kAllMasks);
  EXPECT_EQ(x87, kAllMasks);
}

#endif

TEST_F(DatabaseOpenTest, ReopeningTheSameFileKeepsItsRows) {
  ASSERT_EQ(Open(), 0);
  const std::wstring path = MakeFile("a.tif");
  RequestNow(Cache(), {Describe(path)});
  Close();
  ASSERT_EQ(Open(), 0);
  EXPECT_EQ(PeekState(Cache(), Describe(path)), kQvThumbnailNone) << "memory is empty";
  RequestNow(Cache(), {Describe(path)});
  EXPECT_EQ(PeekState(Cache(), Describe(path)), kQvThumbnailReady);
  EXPECT_EQ(Script().RenderCount(path), 1);
}

}  // namespace
}  // namespace qvtest
