#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <thread>

#include "tests/host/support/pictures.h"
#include "tests/host/support/program.h"
#include "tests/support/file_bytes.h"

namespace {

using namespace qvtest;

using testing::HasSubstr;

class WatchTest : public testing::Test {
 protected:
  WatchTest() : m_images(m_program.Folder().MakeFolder("images")) { WritePng(Image("old.png"), 60, 40, kRed); }

  std::string Image(const std::string& name) const { return m_images + "/" + name; }
  void Start() {
    m_watch.emplace(m_program,
                    std::vector<std::string>{"watch", m_images, "--quiet-for", "1", "--db", m_program.Database()});
    EXPECT_EQ(m_watch->FirstLine(), Image("old.png"));
  }
  // Waits until the program has told of that many thumbnails, ends it, and gives what it printed.
  SRunResult EndAfter(std::size_t lines) {
    m_watch->WaitForLines(lines);
    m_watch->Signal(SIGINT);
    return m_watch->Wait();
  }

  CProgram m_program;
  const std::string m_images;
  std::optional<CProgram::CProcess> m_watch;
};

TEST_F(WatchTest, MakesThumbnailsOfWhatAppearsInOldFoldersAndNewOnes) {
  Start();
  std::filesystem::create_directories(Image("new/below"));
  WritePng(Image("new/below/b.png"), 60, 40, kGreen);
  WritePng(Image("a.png"), 60, 40, kGreen);
  std::ofstream(Image("notes.txt")) << "no image";
  const SRunResult run = EndAfter(3);
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.out, HasSubstr(Image("a.png") + "\n"));
  EXPECT_THAT(run.out, HasSubstr(Image("new/below/b.png") + "\n"));
  EXPECT_EQ(run.err, "Watching; Ctrl-C ends it.\n");
}

TEST_F(WatchTest, WaitsUntilAFileHasStoppedGrowing) {
  WritePng(m_program.Folder().Path("whole.png"), 60, 40, kGreen);
  const std::string bytes = ReadTextFile(m_program.Folder().Path("whole.png"));
  Start();
  {
    std::ofstream file(Image("slow.png"));
    for (const char byte : bytes) {
      file << byte << std::flush;
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
  }
  const SRunResult run = EndAfter(2);
  EXPECT_THAT(run.out, HasSubstr(Image("slow.png") + "\n"));
  EXPECT_EQ(run.err, "Watching; Ctrl-C ends it.\n");
}

TEST_F(WatchTest, NamesWhatIsNoFolder) {
  const SRunResult run = m_program.RunWithDatabase({"watch", Image("old.png")});
  EXPECT_EQ(run.status, 2);
  EXPECT_THAT(run.err, HasSubstr("is no folder"));
}

}  // namespace
