#include "host/thumbnails/thumbnail_maker.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <functional>

#include "host/files/file_jobs.h"
#include "host/library/library_jobs.h"
#include "host/session/diagnostics.h"
#include "tests/host/support/pictures.h"
#include "tests/support/file_bytes.h"
#include "tests/support/sql.h"
#include "tests/support/temp_folder.h"

namespace qvhost {
namespace {

using namespace qvtest;

using testing::HasSubstr;

// Calls a function in front of every look at the source's time, the point at which a thumbnail is finished.
template <class Jobs>
class CInterferingJobs : public Jobs {
 public:
  using Jobs::Jobs;
  IThumbnailJobs::ERefresh Refresh(SThumbnailJob* job, std::string* reason) override {
    beforeRefresh(++refreshes);
    return Jobs::Refresh(job, reason);
  }
  std::function<void(int)> beforeRefresh = [](int) {};
  int refreshes = 0;
};

class CCountingObserver : public IThumbnailObserver {
 public:
  void OnThumbnail(const SThumbnailJob&, bool made, const SQvPicBuf& picture) override {
    ++(made ? m_made : m_cached);
    if (!picture.data) return;
    const std::size_t right = picture.widthBytes * (picture.height / 2) + picture.width * 3 / 4 * 3;
    const auto* pixel = static_cast<const std::uint8_t*>(picture.data) + right;
    m_right = {pixel[0], pixel[1], pixel[2]};
  }
  void OnFailed(const std::string&, const std::string& reason) override { m_reasons += reason; }

  int m_made = 0, m_cached = 0;
  SRgb m_right{};
  std::string m_reasons;
};

class ThumbnailMakerTest : public testing::Test {
 protected:
  ThumbnailMakerTest() {
    CDiagnostics::Get().Install(false);
    WritePng(Path("red.png"), 80, 40, kRed);
    WritePng(Path("green.png"), 80, 40, kGreen);
  }

  std::string Path(const char* name) const { return m_folder.Path(name); }
  void Open() {
    m_session.emplace();
    m_session->Open({Path("cache.db"), false}, EDatabaseNeed::Fill);
  }
  // Gives the file another content and a later time at once, so that nobody reads half of it.
  void Overwrite(const char* name, const char* with) {
    WriteFile(Path("next"), ReadFile(Path(with)));
    const timespec times[2] = {{m_time, 0}, {m_time, 0}};
    m_time += 60;
    ASSERT_EQ(utimensat(AT_FDCWD, Path("next").c_str(), times, 0), 0);
    ASSERT_EQ(std::rename(Path("next").c_str(), Path(name).c_str()), 0);
  }

  const CTempFolder m_folder;
  std::time_t m_time = 4000000000;
  CCountingObserver m_observer;
  std::optional<CLibraryDatabase> m_library;  // outlives the session
  std::optional<CSession> m_session;
};

TEST_F(ThumbnailMakerTest, AFileThatChangesMeanwhileIsRemade) {
  Open();
  const std::vector<std::string> files = {Path("red.png")};
  CInterferingJobs<CFileJobs> jobs(files, false, m_session->DatabasePath());
  jobs.beforeRefresh = [this](int refreshes) {
    if (refreshes == 1) Overwrite("red.png", "green.png");
  };
  EXPECT_TRUE(CThumbnailMaker(*m_session, jobs, m_observer, {}).Run());
  EXPECT_EQ(jobs.refreshes, 2);
  EXPECT_EQ(m_observer.m_made, 1);
  EXPECT_EQ(m_observer.m_reasons, "");
  EXPECT_NEAR(m_observer.m_right[1], kGreen[1], 12);
}

TEST_F(ThumbnailMakerTest, AFileThatKeepsChangingIsGivenUp) {
  Open();
  const std::vector<std::string> files = {Path("red.png"), Path("green.png")};
  CInterferingJobs<CFileJobs> jobs(files, false, m_session->DatabasePath());
  jobs.beforeRefresh = [this](int) { Overwrite("red.png", "green.png"); };
  EXPECT_TRUE(CThumbnailMaker(*m_session, jobs, m_observer, {}).Run());
  EXPECT_EQ(m_observer.m_made, 1);
  EXPECT_THAT(m_observer.m_reasons, HasSubstr("keeps changing"));
}

TEST_F(ThumbnailMakerTest, AFileThatVanishesMeanwhileFails) {
  Open();
  const std::vector<std::string> files = {Path("red.png")};
  CInterferingJobs<CFileJobs> jobs(files, false, m_session->DatabasePath());
  jobs.beforeRefresh = [this](int) { std::remove(Path("red.png").c_str()); };
  EXPECT_TRUE(CThumbnailMaker(*m_session, jobs, m_observer, {}).Run());
  EXPECT_EQ(m_observer.m_made, 0);
  EXPECT_THAT(m_observer.m_reasons, HasSubstr("No such file"));
}

TEST_F(ThumbnailMakerTest, ARecordThatChangesMeanwhileIsRemade) {
  CLibraryFile writer(Path("lab.qvlib"), true);
  writer.StoreSource("red.png", "red.png", "image", ReadTextFile(Path("red.png")));
  m_library.emplace(Path("lab.qvlib"));
  Open();
  CInterferingJobs<CLibraryJobs> jobs(*m_library, std::string(), false);
  jobs.beforeRefresh = [this, &writer](int refreshes) {
    if (refreshes == 1) writer.Store(1, "image", ReadTextFile(Path("green.png")));
  };
  EXPECT_TRUE(CThumbnailMaker(*m_session, jobs, m_observer, {}).Run());
  EXPECT_EQ(jobs.refreshes, 2);
  EXPECT_EQ(m_observer.m_made, 1);
  EXPECT_NEAR(m_observer.m_right[1], kGreen[1], 12);
  EXPECT_EQ(m_library->OpenAccessesForTest(), 0);
}

// What becomes of a record after it was listed, when its turn comes.
struct SRecordFate {
  const char* sql;     // behind the library's back
  const char* reason;  // none: it is made
};
class RecordAccessTest : public ThumbnailMakerTest, public testing::WithParamInterface<bool> {};

TEST_P(RecordAccessTest, IsBalancedOnEveryPath) {
  CLibraryFile writer(Path("lab.qvlib"), true);
  m_library.emplace(Path("lab.qvlib"));
  const SMakeOptions options{.sync = GetParam()};
  for (const SRecordFate& fate :
       {SRecordFate{"SELECT 1", nullptr}, SRecordFate{"UPDATE pictures SET data = substr(data, 1, 60)", "PNG"},
        SRecordFate{"UPDATE pictures SET data = x'00'", "no image of a format"},
        SRecordFate{"DELETE FROM pictures", "deleted meanwhile"},
        SRecordFate{"DELETE FROM pictures; DELETE FROM records", "deleted meanwhile"}}) {
    writer.StoreSource("red.png", "red.png", "image", ReadTextFile(Path("red.png")));
    Open();
    CCountingObserver observer;
    CLibraryJobs jobs(*m_library, std::string(), false);
    Execute(Path("lab.qvlib"), fate.sql);
    EXPECT_TRUE(CThumbnailMaker(*m_session, jobs, observer, options).Run());
    EXPECT_EQ(observer.m_made, fate.reason ? 0 : 1) << fate.sql;
    EXPECT_THAT(observer.m_reasons, HasSubstr(fate.reason ? fate.reason : "")) << fate.sql;
    m_session.reset();
    EXPECT_EQ(m_library->OpenAccessesForTest(), 0) << fate.sql;
  }
  EXPECT_EQ(m_library->BegunAccessesForTest(), 5) << "every path began an access";
}

INSTANTIATE_TEST_SUITE_P(WorkersAndSync, RecordAccessTest, testing::Bool());

TEST_F(ThumbnailMakerTest, ADatabaseCanBeOpenedAgain) {
  for (int i = 0; i < 2; ++i) {
    Open();
    const std::vector<std::string> files = {Path("red.png")};
    CFileJobs jobs(files, false, m_session->DatabasePath());
    EXPECT_TRUE(CThumbnailMaker(*m_session, jobs, m_observer, {}).Run());
    m_session.reset();
  }
  EXPECT_EQ(m_observer.m_made, 1);
  EXPECT_EQ(m_observer.m_cached, 1);
}

}  // namespace
}  // namespace qvhost
