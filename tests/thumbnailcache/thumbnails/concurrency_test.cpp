#include <thread>

#include "metadata/qvexperiment.h"
#include "tests/thumbnailcache/support/service_test.h"

namespace qvtest {
namespace {

using ::testing::IsEmpty;

class ConcurrencyTest : public ServiceTest {
 protected:
  void SetUp() override {
    ServiceTest::SetUp();
    // Journal and sync are the file owner's business; here they only cost time.
    CSql(DatabaseFile()).Run("PRAGMA journal_mode=WAL");
    ASSERT_EQ(Open(), 0);
    Cache().SetThumbnailBox(16, 12, false);
  }
  void RunTogether(std::vector<std::function<void()>> jobs) {
    std::vector<std::thread> threads;
    for (auto& job : jobs) threads.emplace_back(std::move(job));
    for (std::thread& thread : threads) thread.join();
  }
};

TEST_F(ConcurrencyTest, PurgeAndCancelWhileOthersQueue) {
  std::vector<SQvThumbnailDescription> batch;
  for (int i = 0; i < 12; ++i) batch.push_back(Describe(Folder().Wide("missing-" + std::to_string(i))));
  batch.push_back(Describe(MakeFile("a.tif")));
  std::atomic<bool> stop{false};
  const auto queueing = [&] {
    for (int round = 0; round < 1500; ++round) {
      Queue(Cache(), batch);
      for (std::size_t i = 0; i < batch.size(); i += 5) PeekState(Cache(), batch[i]);
    }
    stop = true;
  };
  const auto purging = [&] {
    while (!stop) {
      Cache().PurgeUnusedThumbnails();
      Cache().CancelRequests(0, batch.data(), static_cast<std::int32_t>(batch.size()));
      Cache().CancelAllRequests();
    }
  };
  RunTogether({queueing, queueing, purging, purging});
  CRecordingListener listener(Cache());
  Drain(listener);
  Cache().PurgeUnusedThumbnails();
  EXPECT_EQ(CPlatformSpy::LivePictures(), 0);
}

// The delay after each insert is where another insert of the same connection would change the row id.
TEST_F(ConcurrencyTest, EveryCallerGetsItsOwnRowId) {
  CSqliteSpy::SetStepHook([](const std::string& text) {
    if (text.starts_with("INSERT INTO stored") || text.starts_with("INSERT INTO experiments"))
      std::this_thread::sleep_for(std::chrono::microseconds(200));
  });
  std::atomic<bool> stop{false};
  const auto storing = [&](int number) {
    return [&, number] {
      for (int i = 0; i < 60; ++i) {
        const std::wstring name = L"item " + std::to_wstring(number) + L"-" + std::to_wstring(i);
        int id = 0;
        EXPECT_EQ(Cache().InsertStoredItem(number, name.c_str(), i, &id), 0);
        std::vector<int> ids;
        std::vector<CQvStringW> names;
        EXPECT_EQ(Cache().GetStoredChildren(number, &ids, &names), 0);
        ASSERT_EQ(ids.size(), static_cast<std::size_t>(i) + 1);
        EXPECT_EQ(ids.back(), id);
        EXPECT_EQ(names.back().Str(), name);
      }
    };
  };
  const auto experimenting = [&](int number) {
    return [&, number] {
      for (int i = 0; i < 60; ++i) {
        SQvExperiment experiment;
        experiment.loopType = kQvLoopTime;
        experiment.loopSize = static_cast<std::uint32_t>(number * 1000 + i);
        int id = 0;
        EXPECT_EQ(Cache().WriteExperiment(&experiment, nullptr, 1.0, 0, &id), 0);
        SQvExperiment* read = nullptr;
        SQvPicturePlanes planes;
        double time = 0;
        EXPECT_EQ(Cache().ReadExperiment(&read, &planes, &time, id), 0);
        ASSERT_NE(read, nullptr) << id;
        EXPECT_EQ(read->loopSize, experiment.loopSize);
        SQvExperiment::FreeRecursive(read);
      }
    };
  };
  std::vector<SQvThumbnailDescription> batch;
  for (int i = 0; i < 40; ++i) batch.push_back(Describe(MakeFile(std::string("f") + std::to_string(i) + ".tif")));
  std::thread worker([&] {
    // New thumbnails all the time: purged, made, and inserted again.
    while (!stop) {
      CSql(DatabaseFile()).Run("DELETE FROM cache");
      Queue(Cache(), batch);
      CRecordingListener listener(Cache());
      Drain(listener);
      Cache().PurgeUnusedThumbnails();
    }
  });
  RunTogether({storing(1), storing(2), experimenting(3), experimenting(4)});
  stop = true;
  worker.join();
  EXPECT_THAT(m_diag.Take(), IsEmpty());
}

// The delay after each failed insert is where another statement would replace the connection's error text.
TEST_F(ConcurrencyTest, EveryMessageCarriesItsOwnError) {
  Cache().WriteHistory(L"taken.tif", L"ada", 1.0, 1);
  CSqliteSpy::SetStepHook([](const std::string& text) {
    if (text.starts_with("INSERT INTO history")) std::this_thread::sleep_for(std::chrono::microseconds(200));
  });
  const auto failing = [&] {
    for (int i = 0; i < 60; ++i) EXPECT_EQ(Cache().WriteHistory(L"taken.tif", L"bob", 2.0, 1), SQLITE_CONSTRAINT);
  };
  const auto succeeding = [&] {
    for (int i = 0; i < 300; ++i) {
      int id = 0;
      Cache().InsertStoredItem(1, L"x", 0, &id);
    }
  };
  RunTogether({failing, failing, succeeding, succeeding});
  const auto messages = m_diag.Take();
  EXPECT_EQ(messages.size(), 240u);
  for (const SDiag& message : messages)
    EXPECT_TRUE(message.text.ends_with(L"UNIQUE constraint failed: history.filename")) << Utf8(message.text);
}

TEST_F(ConcurrencyTest, TextInformationIsReadWhileWorkersSaveIt) {
  std::vector<SQvThumbnailDescription> batch;
  for (int i = 0; i < 20; ++i) {
    standin::SFile file;
    file.info.width = 1000 + static_cast<std::uint32_t>(i);
    batch.push_back(Describe(MakeFile(std::string("f") + std::to_string(i) + ".tif", file)));
  }
  const auto reading = [&] {
    for (int round = 0; round < 10; ++round)
      for (std::size_t i = 0; i < batch.size(); ++i) {
        SQvImageTextInfo text;
        SQvImageInfo info;
        double calibration = 0, time = 0;
        CQvStringW objective;
        std::int64_t size = 0;
        EXPECT_EQ(
            Cache().GetFileTextInfo(batch[i].location.c_str(), text, info, calibration, objective, time, size, nullptr),
            0);
        EXPECT_EQ(info.width, 1000 + i);
      }
  };
  const auto making = [&] {
    for (int round = 0; round < 10; ++round) {
      RequestNow(Cache(), batch);
      Cache().PurgeUnusedThumbnails();
    }
  };
  RunTogether({reading, reading, making, making});
}

}  // namespace
}  // namespace qvtest
