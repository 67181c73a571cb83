#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <optional>
#include <string>
#include <thread>

#include "tests/support/child_process.h"
#include "tests/support/decode_rgb.h"
#include "tests/support/encode_jpeg.h"
#include "tests/support/experiments.h"
#include "tests/support/sql.h"
#include "tests/support/temp_folder.h"
#include "tests/thumbnailcache/processes/keys.h"
#include "tests/thumbnailcache/processes/write_log.h"

// Several processes with one database file, killed while they write.
namespace qvtest {
namespace {

constexpr int kProcesses = 4, kImages = 8;
constexpr std::chrono::milliseconds kBetweenKills(200);

// How many processes are killed; QV_KILLS sets another number.
int Kills() {
  const char* wanted = std::getenv("QV_KILLS");
  return wanted ? std::atoi(wanted) : 12;
}

class SharedFileTest : public ::testing::TestWithParam<const char*> {
 protected:
  std::string Database() const { return m_folder.Path("shared.db"); }

  void SetUp() override {
    for (int i = 0; i < kImages; ++i) {
      STestPicture picture = BlackPicture(600, 300, 3);
      std::ranges::fill(picture.samples, Gray(i));
      m_images.push_back(m_folder.MakeFile("image" + std::to_string(i) + ".jpg", EncodeJpeg(picture)));
    }
    if (*GetParam()) Execute(Database(), std::string("PRAGMA journal_mode=") + GetParam());
  }

  static std::uint16_t Gray(int image) { return static_cast<std::uint16_t>(20 + image * 30); }

  // A writer ends only when it is killed.
  void Kill(std::optional<CChildProcess>& process) {
    process->Signal(SIGKILL);
    EXPECT_EQ(process->Wait().status, 128 + SIGKILL);
    process.reset();
  }

  void Start(std::optional<CChildProcess>& process) {
    const std::string number = std::to_string(++m_started);
    SCommand command;
    command.arguments = {QV_SHARED_FILE_WRITER, Database(), Log(number), number};
    command.arguments.insert(command.arguments.end(), m_images.begin(), m_images.end());
    command.err = m_folder.Path("messages" + number);
    process.emplace(std::move(command));
  }
  std::string Log(const std::string& number) const { return m_folder.Path("log" + number); }

  // Processes write; every now and then one is killed and another takes its place. At the end all are killed.
  void WriteAndKill() {
    std::array<std::optional<CChildProcess>, kProcesses> processes;
    for (auto& process : processes) Start(process);
    for (int kill = 0; kill < Kills(); ++kill) {
      std::this_thread::sleep_for(kBetweenKills);
      auto& process = processes[kill % kProcesses];
      Kill(process);
      Start(process);
    }
    std::this_thread::sleep_for(kBetweenKills);
    for (auto& process : processes) Kill(process);
  }

  std::map<std::string, SWritten> Written() const {
    std::map<std::string, SWritten> written;
    for (int i = 1; i <= m_started; ++i) ReadWriteLog(Log(std::to_string(i)), written);
    return written;
  }

  CTempFolder m_folder;
  std::vector<std::string> m_images;
  int m_started = 0;
};

// Key and value of everything that the file holds.
std::map<std::string, std::string> Read(const std::string& database) {
  std::map<std::string, std::string> found;
  CSql sql(database);
  const auto add = [&](const char* query) {
    CSqlStatement rows(sql, query);
    while (rows.Row()) EXPECT_TRUE(found.emplace(rows.TextAt(0), rows.TextAt(1)).second) << rows.TextAt(0);
  };
  add("SELECT filename, CAST(M_acqTime AS INTEGER) FROM history");
  add("SELECT filename, flags FROM stored");
  CSqlStatement rows(sql, "SELECT liteVariant, CAST(M_acqTime AS INTEGER) FROM experiments");
  while (rows.Row()) {
    SQvExperiment experiment;
    EXPECT_EQ(Deserialize(rows.BlobAt(0), &experiment), 0);
    const std::string key = ExperimentKey(experiment.loopSize);
    EXPECT_TRUE(found.emplace(key, rows.TextAt(1)).second) << key;
  }
  return found;
}

TEST_P(SharedFileTest, WhatWasAcknowledgedIsThereAfterKills) {
  WriteAndKill();
  EXPECT_EQ(QueryText(Database(), "PRAGMA integrity_check"), "ok");
  const auto written = Written();
  auto found = Read(Database());
  int acknowledged = 0;
  for (const auto& [key, writes] : written) {
    const auto value = found.extract(key);
    EXPECT_TRUE(writes.Allows(value ? std::optional(value.mapped()) : std::nullopt))
        << key << " is " << (value ? value.mapped() : "missing") << ", not " << writes.acknowledged.value_or("missing");
    acknowledged += writes.acknowledged.has_value();
  }
  EXPECT_GT(acknowledged, 0);
  EXPECT_TRUE(found.empty()) << "nobody wrote " << found.begin()->first;
}

TEST_P(SharedFileTest, EveryThumbnailIsItsOwnFiles) {
  WriteAndKill();
  CSql sql(Database());
  CSqlStatement rows(sql, "SELECT binData FROM cache WHERE filename = ? AND binData IS NOT NULL");
  int thumbnails = 0;
  for (int i = 0; i < kImages; ++i) {
    rows.Text(1, m_images[i]);
    for (; rows.Row(); ++thumbnails) {
      const SRgbPicture picture = DecodeJpeg(rows.BlobAt(0));
      EXPECT_NEAR(picture.Pixel(picture.width / 2, picture.height / 2)[0], Gray(i), 4) << m_images[i];
      EXPECT_NEAR(picture.Pixel(picture.width - 1, picture.height - 1)[0], Gray(i), 4) << m_images[i];
    }
    rows.Reset();
  }
  EXPECT_GT(thumbnails, 0);
}

// Processes that meet at a file that is not there yet are part of it.
INSTANTIATE_TEST_SUITE_P(Journals, SharedFileTest, ::testing::Values("", "WAL"),
                         [](const auto& journal) { return std::string(*journal.param ? "WriteAhead" : "NewFile"); });

}  // namespace
}  // namespace qvtest
