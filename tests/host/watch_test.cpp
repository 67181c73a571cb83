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
#include "tests/support/sql.h"
#include "tests/support/zarr_writer.h"

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

// A picture of 4 x 4 chunks, dark on the left.
CZarrFiles PictureOfChunks() {
  SZarrArray plane;
  plane.shape = {64, 64};
  plane.chunk = {16, 16};
  plane.value = [](const SZarrIndex& at) { return at[1] < 32 ? 40.0 : 220.0; };
  CZarrFiles files;
  files.AddPicture("", "yx", {plane});
  return files;
}

void WriteKey(const std::string& folder, const std::string& key, const SFileBytes& bytes) {
  const std::filesystem::path path = std::filesystem::path(folder) / key;
  std::filesystem::create_directories(path.parent_path());
  WriteFile(path.string(), bytes);
}

TEST_F(WatchTest, APictureThatIsAFolderIsMadeOnceItsLastChunkIsThere) {
  const CZarrFiles whole = PictureOfChunks();
  whole.WriteTo(m_program.Folder().Path("whole.zarr"));
  ASSERT_EQ(m_program.Run({"make", m_program.Folder().Path("whole.zarr"), "--db", m_program.Folder().Path("other.db")})
                .status,
            0);
  Start();
  for (const auto& [key, bytes] : whole.Files()) {
    WriteKey(Image("slow.zarr"), key, bytes);
    std::this_thread::sleep_for(std::chrono::milliseconds(120));
  }
  const SRunResult run = EndAfter(2);
  EXPECT_EQ(run.out, Image("old.png") + "\n" + Image("slow.zarr") + "\n");
  EXPECT_EQ(run.err, "Watching; Ctrl-C ends it.\n");
  EXPECT_EQ(QueryText(m_program.Database(), "SELECT hex(binData) FROM cache WHERE filename LIKE '%slow.zarr'"),
            QueryText(m_program.Folder().Path("other.db"), "SELECT hex(binData) FROM cache"));
}

TEST_F(WatchTest, APictureThatIsAFolderIsMadeWhenItsDescriptionComesLast) {
  const CZarrFiles whole = PictureOfChunks();
  Start();
  for (const bool isDescription : {false, true}) {
    for (const auto& [key, bytes] : whole.Files()) {
      const bool isHidden = std::filesystem::path(key).filename().string().front() == '.';
      if (isHidden == isDescription) WriteKey(Image("late.zarr"), key, bytes);
    }
    if (!isDescription) std::this_thread::sleep_for(std::chrono::milliseconds(2500));
  }
  EXPECT_THAT(EndAfter(2).out, HasSubstr(Image("late.zarr") + "\n"));
}

TEST_F(WatchTest, NamesWhatIsNoFolder) {
  const SRunResult run = m_program.RunWithDatabase({"watch", Image("old.png")});
  EXPECT_EQ(run.status, 2);
  EXPECT_THAT(run.err, HasSubstr("is no folder"));
}

}  // namespace
