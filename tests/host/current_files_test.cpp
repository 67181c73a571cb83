#include "host/files/current_files.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "host/files/file_jobs.h"
#include "host/files/image_file.h"
#include "host/session/diagnostics.h"
#include "host/thumbnails/thumbnail_maker.h"
#include "tests/host/support/pictures.h"
#include "tests/support/sql.h"
#include "tests/support/temp_folder.h"

namespace qvhost {
namespace {

using namespace qvtest;

// Many names of one small picture, and rows as if their thumbnails had been made.
class CurrentFilesTest : public testing::Test {
 protected:
  explicit CurrentFilesTest(int count = 600) {
    CDiagnostics::Get().Install(false);
    m_session.emplace();
    m_session->Open({Database(), false}, EDatabaseNeed::Fill);
    WritePng(m_folder.Path("original"), 8, 8, kRed);
    for (int i = 0; i < count; ++i) {
      m_files.push_back(m_folder.Path(fmt::format("{} {}.png", i % 2 == 0 ? "image" : "IMAGE", i)));
      std::filesystem::create_hard_link(m_folder.Path("original"), m_files.back());
    }
  }

  std::string Database() const { return m_folder.Path("cache.db"); }
  // For every file of which `age` gives an age in days; none for a negative one.
  template <class Age>
  void InsertRows(const Age& age) const {
    CSql db(Database());
    db.Run("BEGIN");
    CSqlStatement insert(db, "INSERT INTO cache VALUES (?1, ?2, 0, x'00', 0)");
    for (std::size_t i = 0; i < m_files.size(); ++i) {
      SQvThumbnailDescription description;
      std::string reason;
      ASSERT_TRUE(DescribeFile(m_files[i], false, &description, &reason)) << reason;
      if (age(i) < 0) continue;
      insert.Text(1, CCacheRows::NameOf(description)).Double(2, description.lastWritten - age(i)).Done();
      insert.Reset();
    }
    db.Run("COMMIT");
  }

  const CTempFolder m_folder;
  std::optional<CSession> m_session;
  std::vector<std::string> m_files;
};

TEST_F(CurrentFilesTest, KnowsOfEachFileWhetherItsThumbnailIsCurrent) {
  InsertRows([](std::size_t i) { return static_cast<int>(i % 3) - 1; });  // none, current, old
  CCurrentFiles current(m_files, false, Database());
  for (std::size_t i = 0; i < m_files.size(); ++i) EXPECT_EQ(current.IsCurrent(i), i % 3 == 1) << m_files[i];
}

TEST_F(CurrentFilesTest, AThumbnailOfStandardQualityIsNotCurrentWhereAHighOneIsWanted) {
  InsertRows([](std::size_t) { return 0; });
  EXPECT_FALSE(CCurrentFiles(m_files, true, Database()).IsCurrent(0));
}

TEST_F(CurrentFilesTest, AFileThatIsGoneIsNotCurrent) {
  InsertRows([](std::size_t) { return 0; });
  std::filesystem::remove(m_files[300]);
  CCurrentFiles current(m_files, false, Database());
  EXPECT_TRUE(current.IsCurrent(299));
  EXPECT_FALSE(current.IsCurrent(300));
}

// The cache keeps one thumbnail for both: that of the lower-case name.
TEST_F(CurrentFilesTest, AFileWhoseNameDiffersFromAnothersInCaseOnlyIsNotCurrent) {
  InsertRows([](std::size_t) { return 0; });
  std::filesystem::copy_file(m_folder.Path("original"), m_folder.Path("IMAGE 300.png"));
  m_files.push_back(m_folder.Path("IMAGE 300.png"));
  CCurrentFiles current(m_files, false, Database());
  EXPECT_FALSE(current.IsCurrent(m_files.size() - 1));
}

TEST_F(CurrentFilesTest, NothingIsCurrentInADatabaseThatCannotBeRead) {
  m_session->Close();
  Execute(Database(), "DROP TABLE cache");
  CCurrentFiles current(m_files, false, Database());
  for (std::size_t i = 0; i < m_files.size(); ++i) EXPECT_FALSE(current.IsCurrent(i));
}

TEST_F(CurrentFilesTest, NeedNotBeAskedToTheEnd) {
  const std::vector<std::string> many(100000, m_files[0]);
  CCurrentFiles unasked(many, false, Database());
  CCurrentFiles asked(many, false, Database());
  EXPECT_FALSE(asked.IsCurrent(0));
}

class CCountedOutcomes : public IThumbnailObserver {
 public:
  void OnThumbnail(const SThumbnailJob& job, bool made, const SQvPicBuf&) override {
    (made ? m_made : m_cached).push_back(job.name);
  }
  void OnFailed(const std::string& name, const std::string&) override { m_failed.push_back(name); }

  std::vector<std::string> m_made, m_cached, m_failed;
};

class LookingAheadTest : public CurrentFilesTest {
 protected:
  LookingAheadTest() : CurrentFilesTest(static_cast<int>(CCurrentFiles::kFewest)) {}
};

TEST_F(LookingAheadTest, OnlyWhatIsNotCurrentIsMade) {
  InsertRows([](std::size_t i) { return i == 10 ? -1 : i == 700 ? 1 : 0; });
  std::filesystem::remove(m_files[500]);
  CFileJobs jobs(m_files, false, m_session->DatabasePath());
  jobs.LookAhead();
  CCountedOutcomes outcomes;
  EXPECT_TRUE(CThumbnailMaker(*m_session, jobs, outcomes, {}).Run());
  EXPECT_THAT(outcomes.m_made, testing::UnorderedElementsAre(m_files[10], m_files[700]));
  EXPECT_EQ(outcomes.m_failed, std::vector({m_files[500]}));
  EXPECT_EQ(outcomes.m_cached.size(), m_files.size() - 3);
}

}  // namespace
}  // namespace qvhost
