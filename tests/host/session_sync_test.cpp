#include <gtest/gtest.h>

#include "host/files/file_jobs.h"
#include "host/session/diagnostics.h"
#include "host/thumbnails/thumbnail_maker.h"
#include "tests/host/support/pictures.h"
#include "tests/support/disk_syncs.h"
#include "tests/support/sql.h"
#include "tests/support/temp_folder.h"

namespace qvhost {
namespace {

using namespace qvtest;

class CSilentObserver : public IThumbnailObserver {
 public:
  void OnThumbnail(const SThumbnailJob&, bool, const SQvPicBuf&) override {}
  void OnFailed(const std::string&, const std::string&) override {}
};

// Which thumbnails wait for the disk.
class SessionSyncTest : public testing::Test {
 protected:
  SessionSyncTest() {
    CDiagnostics::Get().Install(false);
    for (int i = 0; i < 6; ++i) {
      m_images.push_back(m_folder.Path("image " + std::to_string(i) + ".png"));
      WritePng(m_images.back(), 80, 40, kRed);
    }
  }

  // For all images but the first, which makes the tables and opens the log.
  int SyncsOfMaking(const std::optional<SViewOptions>& view) {
    CSession session;
    session.Open({m_folder.Path("cache.db"), false, view}, EDatabaseNeed::Fill);
    Make(session, {m_images[0]});
    const int syncs = SDiskSyncs::Of([&] { Make(session, {m_images.begin() + 1, m_images.end()}); });
    EXPECT_EQ(QueryInt(m_folder.Path("cache.db"), "SELECT count(*) FROM cache"), 6);
    return syncs;
  }

  const CTempFolder m_folder;
  std::vector<std::string> m_images;

 private:
  static void Make(CSession& session, const std::vector<std::string>& images) {
    CFileJobs jobs(images, false, session.DatabasePath());
    CSilentObserver observer;
    EXPECT_TRUE(CThumbnailMaker(session, jobs, observer, {}).Run());
  }
};

TEST_F(SessionSyncTest, ThumbnailsOfACommandThatMakesThemDoNotWaitForTheDisk) {
  EXPECT_EQ(SyncsOfMaking(SViewOptions()), 0);
}

TEST_F(SessionSyncTest, OtherCommandsWaitForTheDisk) { EXPECT_GE(SyncsOfMaking(std::nullopt), 5); }

}  // namespace
}  // namespace qvhost
