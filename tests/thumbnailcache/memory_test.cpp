#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <thread>

#include "metadata/qvexperiment.h"
#include "tests/support/diag_recorder.h"
#include "tests/support/sql.h"
#include "tests/support/temp_folder.h"
#include "tests/thumbnailcache/standin/standin.h"
#include "tests/thumbnailcache/support/every_operation.h"
#include "tests/thumbnailcache/support/failing_memory.h"
#include "tests/thumbnailcache/support/image_database.h"
#include "tests/thumbnailcache/support/service.h"

// Every operation, and the workers, with memory that runs out at every point: no exception may leave them, nothing may
// be lost, and the service must go on working.

namespace qvtest {
namespace {

class MemoryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    standin::CScript::Get().Reset();
    UseStandInFormats();
    m_service = std::make_unique<CServiceHandle>();
    ASSERT_EQ(m_service->Open(m_folder.Wide("cache.db")), 0);
    m_experiment.loopType = kQvLoopTime;
    m_experiment.loopSize = 5;
  }
  void TearDown() override {
    m_service.reset();
    EXPECT_EQ(standin::CScript::Get().Live(), standin::SBalance{});
  }
  IQvThumbnailCache& Cache() { return **m_service; }

  using EFault = CFailingMemory::EFault;
  using EThreads = CFailingMemory::EThreads;

  // Runs the operation with room for 0, 1, 2, … allocations, of which the next or all further ones fail, until none
  // fails any more; `before` and `after` each time with all the room there is.
  template <class Operation>
  void RunOut(
      const char* name, Operation&& operation, const std::function<void()>& before = [] {},
      const std::function<void()>& after = [] {}, EThreads threads = EThreads::This) {
    for (const EFault fault : {EFault::Once, EFault::FromThenOn}) {
      bool failed = true;
      for (long room = 0; failed; ++room) {
        ASSERT_LT(room, 2000) << name << " never had enough";
        before();
        CFailingMemory::Limit(threads, room, fault);
        bool threw = false;
        try {
          operation();
        } catch (...) {
          threw = true;
        }
        failed = CFailingMemory::Lift();
        after();
        ASSERT_FALSE(threw) << name << " with room for " << room;
      }
    }
  }

  // Waits until the entry is neither queued, in work, nor to be made again; gives its state.
  std::uint32_t WaitForEnd(const SQvThumbnailDescription& desc) {
    for (;;) {
      const std::uint32_t state = PeekState(Cache(), desc);
      if (state != kQvThumbnailQueued && state != kQvThumbnailInWork && state != kQvThumbnailStale) return state;
      std::this_thread::yield();
    }
  }
  void ForgetThumbnails() {
    Cache().PurgeUnusedThumbnails();
    CSql(m_folder.Path("cache.db")).Run("DELETE FROM cache");
  }

  CTempFolder m_folder;
  std::unique_ptr<CServiceHandle> m_service;
  SQvExperiment m_experiment;
  CDiagRecorder m_diag;
};

TEST_F(MemoryTest, NoExceptionLeavesAnOperation) {
  const auto desc = Describe(m_folder.MakeFileWide("a picture with a name too long for a short string.tif"));
  const auto other = Describe(m_folder.MakeFileWide("another picture with a name too long for a short string.tif"));
  CEveryOperation every(Cache(), {desc, other}, 1);
  constexpr int kInsertStoredItem = 28;
  EXPECT_EQ(every.Call(kInsertStoredItem), 0) << "so that there is one to update";
  for (int operation = 2; operation < CEveryOperation::kCount; ++operation) {
    if (operation == CEveryOperation::kOpen || operation == CEveryOperation::kClose || operation == 18) continue;
    std::int32_t status = 0;
    RunOut(
        CEveryOperation::Name(operation), [&] { status = every.Call(operation); },
        [&] {
          every.NextRound();
          ForgetThumbnails();
        });
    EXPECT_EQ(status, operation == 2 ? -2 : 0) << CEveryOperation::Name(operation) << " with all the memory it needs";
  }
}

TEST_F(MemoryTest, ReferencesAreNeitherLostNorLeft) {
  const auto desc = Describe(m_folder.MakeFileWide("a picture with a name too long for a short string.tif"));
  RequestNow(Cache(), {desc});
  std::uint32_t state = 0;
  SQvPicBuf picture{};
  const auto get = [&] { Cache().GetCachedThumbnail(5, desc, &state, &picture); };
  std::int32_t released = 0;
  const auto release = [&] { released = Cache().ReleaseThumbnail(5, desc); };
  RunOut(
      "get", get, [&] { picture = {}; },
      [&] {
        if (picture.data) release();
      });
  RunOut("release", release, get, [&] {
    if (released != 0) release();
  });
  EXPECT_TRUE(m_diag.Take().empty());
}

// The requests behind one that there is no memory for are made or queued, and the workers are woken for them.
TEST_F(MemoryTest, RequestsBehindOneThatFailsAreMade) {
  std::vector<SQvThumbnailDescription> batch;
  for (int i = 0; i < 3; ++i)
    batch.push_back(Describe(m_folder.MakeFileWide("a picture with a rather long name " + std::to_string(i))));
  for (const bool queue : {false, true}) {
    bool failed = true;
    for (long room = 0; failed; ++room) {
      ForgetThumbnails();
      CFailingMemory::Limit(EThreads::This, room, EFault::Once);
      Cache().RequestThumbnails(0, batch.data(), 3, 0, queue);
      failed = CFailingMemory::Lift();
      // What was not made is dormant, failed or not there at all. Without an image-format manager nothing can be made.
      int made = 0;
      for (const auto& desc : batch) made += WaitForEnd(desc) == kQvThumbnailReady ? 1 : 0;
      const bool hadNoManager = !queue && made == 0;
      EXPECT_TRUE(made >= 2 || hadNoManager) << "queued: " << queue << ", room for " << room;
    }
  }
}

TEST_F(MemoryTest, NoExceptionLeavesTheBookkeeping) {
  const std::wstring path = m_folder.MakeFileWide("a picture with a name too long for a short string.tif");
  SQvImageTextInfo text;
  SQvImageInfo info;
  double calibration = 0, time = 0;
  CQvStringW objective;
  std::int64_t size = 0;
  RunOut("text information",
         [&] { Cache().GetFileTextInfo(path.c_str(), text, info, calibration, objective, time, size, nullptr); });
  int id = 0;
  RunOut("write experiment", [&] { Cache().WriteExperiment(&m_experiment, nullptr, 1, 2, &id); });
  RunOut("write experiment again", [&] { Cache().WriteExperiment(&m_experiment, nullptr, 1, 2, &id); });
  RunOut("read experiment", [&] {
    SQvExperiment* read = nullptr;
    SQvPicturePlanes planes;
    Cache().ReadExperiment(&read, &planes, &time, 1);
    SQvExperiment::FreeRecursive(read);
  });
  RunOut("write history", [&] { Cache().WriteHistory(path.c_str(), L"a user with a rather long name", 1, 1); });
  RunOut("update history", [&] { Cache().WriteHistory(path.c_str(), L"a user with a rather long name", 2, 1); });
  RunOut("read history", [&] {
    std::vector<int> ids;
    std::vector<double> times;
    std::vector<CQvStringW> names;
    Cache().ReadHistory(L"a user with a rather long name", 0, 9, &ids, &times, &names);
    Cache().GetHistoryFilenames(L"a user with a rather long name", 1, 0, 9, &names);
    Cache().GetExperimentIDsByStoredID(2, &ids);
  });
  RunOut("delete history", [&] { Cache().DeleteHistory(0, 9, 1); });
  RunOut("insert item", [&] { Cache().InsertStoredItem(1000, path.c_str(), 0, &id); });
  RunOut("update item", [&] { Cache().UpdateStoredItem(1, 1001, path.c_str(), 1); });
  RunOut("list items", [&] {
    std::vector<int> ids;
    std::vector<CQvStringW> names;
    Cache().GetStoredChildren(1000, &ids, &names);
  });
  RunOut("delete item", [&] { Cache().DeleteStoredItem(1); });
}

// Counts its calls, without memory.
struct SCountingListener {
  static void Call(void* context, const wchar_t*) { ++static_cast<SCountingListener*>(context)->calls; }
  std::atomic<int> calls{0};
};

TEST_F(MemoryTest, WorkersEndEveryRequestAndTellOfIt) {
  std::vector<SQvThumbnailDescription> batch;
  for (int i = 0; i < 3; ++i)
    batch.push_back(Describe(m_folder.MakeFileWide("a picture with a rather long name " + std::to_string(i))));
  SCountingListener listener;
  Cache().AddListener(&SCountingListener::Call, &listener);
  RunOut(
      "the workers",
      [&] {
        Queue(Cache(), batch);
        while (listener.calls != 3) std::this_thread::yield();
      },
      [&] {
        listener.calls = 0;
        ForgetThumbnails();
      },
      [&] {
        for (const auto& desc : batch) {
          const std::uint32_t state = WaitForEnd(desc);
          EXPECT_TRUE(state == kQvThumbnailReady || state == kQvThumbnailFailed) << state;
        }
      },
      EThreads::Others);
  Cache().RemoveListener({&SCountingListener::Call, &listener});
}

// A picture that is replaced while somebody shows it needs memory to be set aside.
TEST_F(MemoryTest, ShownPixelsStayWhenThereIsNoMemoryToReplaceThem) {
  CImageDatabase owner;
  owner.records[1].fields[L"image"] = standin::SFile();
  const std::wstring location = SQvThumbnailDescription::MakeDBLocation(1, L"image").Str();
  const std::wstring occupier = m_folder.MakeFileWide("occupier");
  auto& script = standin::CScript::Get();
  double time = 1.0;
  SLookup shown;
  std::vector<std::uint8_t> pixels;
  const auto at = [&](double when) { return Describe(location, 0, when, &owner); };
  SCountingListener listener;
  Cache().AddListener(&SCountingListener::Call, &listener);
  RunOut(
      "publishing",
      [&] {
        script.UnblockAll();
        while (listener.calls < 2) std::this_thread::yield();
      },
      [&] {
        ForgetThumbnails();
        RequestNow(Cache(), {at(0)});
        // One worker is kept away; the other stands in the making anew.
        script.Block(occupier);
        Queue(Cache(), {Describe(occupier)});
        script.WaitForBlocked(1);
        script.Block(L"db:1:image");
        listener.calls = 0;
        Get(Cache(), at(0), 1);
        Cache().ReleaseThumbnail(1, at(time += 1));
        script.WaitForBlocked(2);
        // A time that is news makes the old picture available meanwhile.
        Cache().ReleaseThumbnail(1, at(time += 1));
        m_diag.Take();
        shown = Get(Cache(), at(0), 2);
        ASSERT_TRUE(shown.HasPicture());
        const auto* bytes = static_cast<const std::uint8_t*>(shown.picture.data);
        pixels.assign(bytes, bytes + shown.picture.dataSize);
      },
      [&] {
        const auto* bytes = static_cast<const std::uint8_t*>(shown.picture.data);
        EXPECT_TRUE(std::equal(pixels.begin(), pixels.end(), bytes));
        EXPECT_EQ(Cache().ReleaseThumbnail(2, at(time)), 0);
        const std::uint32_t state = WaitForEnd(at(time));
        EXPECT_TRUE(state == kQvThumbnailReady || state == kQvThumbnailFailed) << state;
      },
      EThreads::Others);
  Cache().RemoveListener({&SCountingListener::Call, &listener});
}

TEST_F(MemoryTest, DatabaseIsOpenWithItsWorkersOrNotAtAll) {
  m_service->Close();
  const int threads = CountThreads();
  const std::wstring path = m_folder.Wide("another database with a name too long for a short string.db");
  const auto desc = Describe(m_folder.MakeFileWide("a picture with a name too long for a short string.tif"));
  std::int32_t opened = 0;
  RunOut(
      "open", [&] { opened = m_service->Open(path); }, [] {},
      [&] {
        if (opened == 0) {
          Queue(Cache(), {desc});
          EXPECT_EQ(WaitForEnd(desc), kQvThumbnailReady);
          m_service->Close();
        } else {
          std::vector<int> ids;
          std::vector<CQvStringW> names;
          EXPECT_EQ(Cache().GetStoredChildren(0, &ids, &names), -9) << "no database is open";
        }
        EXPECT_TRUE(WaitForThreads(threads));
      });
  EXPECT_EQ(m_service->Open(path), 0);
}

TEST_F(MemoryTest, ClosingNeedsNoMemory) {
  m_service->Close();
  const int threads = CountThreads();
  const auto desc = Describe(m_folder.MakeFileWide("a picture with a name too long for a short string.tif"));
  std::int32_t closed = -1;
  RunOut(
      "close", [&] { closed = Cache().CloseDatabase(); },
      [&] {
        ASSERT_EQ(m_service->Open(m_folder.Wide("cache.db")), 0);
        Queue(Cache(), {desc});
        RequestNow(Cache(), {desc});
      },
      [&] {
        EXPECT_EQ(closed, 0);
        EXPECT_TRUE(WaitForThreads(threads));
      });
  m_service->Close();
}

TEST_F(MemoryTest, DatabaseWithoutAThreadForItsWorkersIsNotOpened) {
  m_service->Close();
  m_diag.Take();
  CFailingMemory::RefuseThreads(2);
  EXPECT_EQ(m_service->Open(m_folder.Wide("cache.db")), -9);
  EXPECT_EQ(m_diag.TakeTexts().size(), 1u);
  std::vector<int> ids;
  std::vector<CQvStringW> names;
  EXPECT_EQ(Cache().GetStoredChildren(0, &ids, &names), -9) << "no database is open";
  CFailingMemory::RefuseThreads(1);
  EXPECT_EQ(m_service->Open(m_folder.Wide("cache.db")), 0) << "one is enough";
  const auto desc = Describe(m_folder.MakeFileWide("a.tif"));
  Queue(Cache(), {desc});
  EXPECT_EQ(WaitForEnd(desc), kQvThumbnailReady);
}

}  // namespace
}  // namespace qvtest
