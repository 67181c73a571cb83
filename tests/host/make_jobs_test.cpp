// Thumbnails that several processes make together.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <thread>

#include "tests/host/support/pictures.h"
#include "tests/host/support/program.h"
#include "tests/support/sql.h"

namespace {

using namespace qvtest;

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

// Those whose command line holds `text`, and whose parent is `parent` unless that is 0.
std::vector<pid_t> FindProcesses(const std::string& text, pid_t parent = 0) {
  std::vector<pid_t> found;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator("/proc", error)) {
    const pid_t id = static_cast<pid_t>(std::atoi(entry.path().filename().c_str()));
    if (id == 0) continue;
    std::string words, state;
    std::getline(std::ifstream(entry.path() / "cmdline"), words, '\n');
    std::getline(std::ifstream(entry.path() / "stat"), state);
    const std::size_t name = state.rfind(") ");
    if (name == state.npos || state[name + 2] == 'Z' || words.find(text) == words.npos) continue;
    if (parent == 0 || std::atoi(state.c_str() + name + 4) == parent) found.push_back(id);
  }
  return found;
}

class MakeJobsTest : public testing::Test {
 protected:
  MakeJobsTest() : m_images(m_program.Folder().MakeFolder("images")) {}

  std::filesystem::path MakeSet(int number) const {
    const std::filesystem::path path = m_images + "/set" + std::to_string(number);
    std::filesystem::create_directories(path);
    return path;
  }
  void WriteFolders(int folders, int filesOfEach) const {
    for (int folder = 0; folder < folders; ++folder) {
      const std::filesystem::path path = MakeSet(folder);
      for (int i = 0; i < filesOfEach; ++i) {
        const SRgb color = {static_cast<std::uint8_t>(40 * folder), static_cast<std::uint8_t>(5 * i), 90};
        WritePng(path / (std::to_string(i) + ".png"), 96, 64, color);
      }
    }
  }
  // Names of one picture that takes a moment.
  void WriteLargeFolders(int folders, int filesOfEach) const {
    const std::string picture = m_program.Folder().Path("large.png");
    WritePng(picture, 600, 400, kRed);
    for (int folder = 0; folder < folders; ++folder) {
      const std::filesystem::path path = MakeSet(folder);
      for (int i = 0; i < filesOfEach; ++i) {
        std::filesystem::create_hard_link(picture, path / (std::to_string(i) + ".png"));
      }
    }
  }
  std::vector<std::string> Words(const std::string& database, const std::string& jobs) const {
    return {"make", "--recursive", m_images, "--json", "--db", database, "--jobs", jobs};
  }
  static nlohmann::json SortedFailures(const nlohmann::json& document) {
    std::vector<nlohmann::json> failures = document["failures"];
    std::sort(failures.begin(), failures.end());
    return failures;
  }
  static std::vector<std::string> Rows(const std::string& database) {
    std::vector<std::string> rows;
    for (const char* text : {"SELECT filename, lastWritten, flags, quality, hex(binData) FROM cache ORDER BY 1",
                             "SELECT * FROM metadata ORDER BY 1"}) {
      for (std::string& row : CSql(database).Rows(text)) rows.push_back(std::move(row));
    }
    return rows;
  }
  // The processes that make thumbnails of a run, once there are so many.
  std::vector<pid_t> WaitForWorkers(std::size_t count, pid_t* leader) const {
    for (int i = 0; i < 3000; ++i) {
      const std::vector<pid_t> leaders = FindProcesses(m_program.Database(), getpid());
      if (leaders.size() == 1) {
        *leader = leaders.front();
        std::vector<pid_t> workers = FindProcesses(m_program.Database(), *leader);
        if (workers.size() == count) return workers;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return {};
  }
  // They are ended by the kernel, which takes a moment.
  bool AllAreGone() const {
    for (int i = 0; i < 3000; ++i) {
      if (FindProcesses(m_program.Database()).empty()) return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
  }

  CProgram m_program;
  const std::string m_images;
};

TEST_F(MakeJobsTest, AnyNumberOfThemLeavesWhatOneDoes) {
  WriteFolders(5, 23);
  std::filesystem::create_directories(m_images + "/alone");
  WritePng(m_images + "/alone/one.png", 300, 200, kRed);
  std::ofstream(m_images + "/set2/no.png") << "no image";
  std::ofstream(m_images + "/set4/no.tif") << "no image";
  const std::string whole = m_program.Folder().Path("one.db");
  const SRunResult first = m_program.Run(Words(whole, "1"));
  EXPECT_EQ(first.status, 1) << first.err;
  EXPECT_EQ(first.Json()["made"], 116);
  for (const std::string jobs : {"2", "3", "7", "16"}) {
    const std::string database = m_program.Folder().Path("jobs" + jobs + ".db");
    const SRunResult run = m_program.Run(Words(database, jobs));
    EXPECT_EQ(run.status, 1) << jobs;
    EXPECT_EQ(run.err, "") << jobs;
    EXPECT_EQ(run.Json()["made"], 116) << jobs;
    EXPECT_EQ(SortedFailures(run.Json()), SortedFailures(first.Json())) << jobs;
    EXPECT_EQ(Rows(database), Rows(whole)) << jobs;
    const nlohmann::json again = m_program.Run(Words(database, jobs)).Json();
    EXPECT_EQ(again["made"], 0) << jobs;
    EXPECT_EQ(again["alreadyCached"], 116) << jobs;
    EXPECT_EQ(again["failed"], 2) << jobs;
  }
}

TEST_F(MakeJobsTest, OfManyFilesOnlyTheNewOnesAreShared) {
  WriteFolders(1, 1);
  for (int i = 1; i < 1100; ++i) {
    std::filesystem::create_hard_link(m_images + "/set0/0.png", m_images + "/set0/" + std::to_string(i) + ".png");
  }
  EXPECT_EQ(m_program.Run(Words(m_program.Database(), "5")).Json()["made"], 1100);
  WritePng(m_images + "/set0/new.png", 20, 20, kGreen);
  const nlohmann::json again = m_program.Run(Words(m_program.Database(), "5")).Json();
  EXPECT_EQ(again["made"], 1);
  EXPECT_EQ(again["alreadyCached"], 1100);
}

TEST_F(MakeJobsTest, AShardIsMadeBySeveralToo) {
  WriteFolders(6, 4);
  std::vector<std::string> words = Words(m_program.Database(), "4");
  words.insert(words.end(), {"--shard", "1/1"});
  const SRunResult run = m_program.Run(words);
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.Json()["made"], 24);
  EXPECT_EQ(QueryInt(m_program.Folder().Path("cache.1-of-1.db"), "SELECT count(*) FROM cache"), 24);
  EXPECT_FALSE(std::filesystem::exists(m_program.Folder().Path("cache.1-of-1.db-wal")));
}

TEST_F(MakeJobsTest, WhatEndsOneProcessIsDoneByTheOthers) {
  WriteLargeFolders(2, 60);
  CProgram::CProcess run(m_program, Words(m_program.Database(), "4"));
  pid_t leader = 0;
  const std::vector<pid_t> workers = WaitForWorkers(2, &leader);
  ASSERT_EQ(workers.size(), 2u);
  kill(workers.front(), SIGKILL);
  const SRunResult result = run.Wait();
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_THAT(result.err, HasSubstr("a process that makes thumbnails was ended by signal 9"));
  EXPECT_EQ(result.Json()["failed"], 0);
  // A thumbnail that was stored but not told of counts as one that was there.
  EXPECT_EQ(result.Json()["made"].get<int>() + result.Json()["alreadyCached"].get<int>(), 120);
  EXPECT_EQ(QueryInt(m_program.Database(), "SELECT count(*) FROM cache"), 120);
}

TEST_F(MakeJobsTest, WithoutProcessesItStopsAndSaysSo) {
  WriteLargeFolders(2, 60);
  CProgram::CProcess run(m_program, Words(m_program.Database(), "4"));
  pid_t leader = 0;
  const std::vector<pid_t> workers = WaitForWorkers(2, &leader);
  ASSERT_EQ(workers.size(), 2u);
  for (const pid_t worker : workers) kill(worker, SIGKILL);
  const SRunResult result = run.Wait();
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.err,
              HasSubstr("stopped: the processes that make thumbnails were ended, the last one by signal 9"));
  EXPECT_EQ(result.Json()["interrupted"], true);
  EXPECT_EQ(m_program.Run(Words(m_program.Database(), "4")).status, 0);
  EXPECT_EQ(QueryInt(m_program.Database(), "SELECT count(*) FROM cache"), 120);
}

TEST_F(MakeJobsTest, InterruptedAllStopAndNothingIsLost) {
  WriteLargeFolders(4, 60);
  CProgram::CProcess run(m_program, Words(m_program.Database(), "6"));
  pid_t leader = 0;
  ASSERT_EQ(WaitForWorkers(3, &leader).size(), 3u);
  kill(leader, SIGTERM);
  const SRunResult result = run.Wait();
  EXPECT_EQ(result.status, 130) << result.err;
  EXPECT_THAT(FindProcesses(m_program.Database()), IsEmpty());
  const nlohmann::json document = result.Json();
  EXPECT_EQ(document["interrupted"], true);
  EXPECT_EQ(document["failed"], 0);
  const nlohmann::json again = m_program.Run(Words(m_program.Database(), "6")).Json();
  EXPECT_EQ(again["alreadyCached"], document["made"]);
  EXPECT_EQ(again["made"].get<int>() + document["made"].get<int>(), 240);
}

TEST_F(MakeJobsTest, KilledItLeavesNoProcessBehind) {
  WriteLargeFolders(4, 60);
  CProgram::CProcess run(m_program, Words(m_program.Database(), "6"));
  pid_t leader = 0;
  ASSERT_EQ(WaitForWorkers(3, &leader).size(), 3u);
  kill(leader, SIGKILL);
  EXPECT_EQ(run.Wait().status, 128 + SIGKILL);
  EXPECT_TRUE(AllAreGone());
}

TEST_F(MakeJobsTest, ADatabaseThatCannotBeOpenedIsToldOnce) {
  WriteFolders(1, 9);
  const SRunResult run = m_program.Run(Words(m_program.Folder().Path("missing/cache.db"), "6"));
  EXPECT_EQ(run.status, 2);
  EXPECT_THAT(run.err, HasSubstr("does not exist; create it first"));
  EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
}

TEST_F(MakeJobsTest, TakesANumberOrAuto) {
  WriteFolders(1, 3);
  EXPECT_EQ(m_program.Run(Words(m_program.Database(), "auto")).Json()["made"], 3);
  EXPECT_EQ(m_program.Run(Words(m_program.Database(), "0")).Json()["alreadyCached"], 3);
  for (const std::string wrong : {"-1", "257", "x", "3x", ""}) {
    const SRunResult run = m_program.Run(Words(m_program.Database(), wrong));
    EXPECT_EQ(run.status, 2) << wrong;
    EXPECT_THAT(run.err, HasSubstr("--jobs")) << wrong;
  }
}

}  // namespace
