#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <memory>
#include <new>

#include "metadata/qvexperiment.h"
#include "tests/support/diag_recorder.h"
#include "tests/support/sql.h"
#include "tests/support/temp_folder.h"
#include "tests/thumbnailcache/standin/standin.h"
#include "tests/thumbnailcache/support/service.h"

// Every operation with memory that runs out at every point: no exception may leave it, nothing may be lost, and the
// service must go on working.

namespace {

// How many allocations of this thread still succeed; negative: all.
thread_local long t_allocations = -1;

void* Allocate(std::size_t size) {
  if (t_allocations == 0) throw std::bad_alloc();
  if (t_allocations > 0) --t_allocations;
  if (void* memory = std::malloc(size ? size : 1)) return memory;
  throw std::bad_alloc();
}

}  // namespace

void* operator new(std::size_t size) { return Allocate(size); }
void* operator new[](std::size_t size) { return Allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }

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

  // Runs the operation with room for 0, 1, 2, … allocations until it does not run out any more; `before` and `after`
  // each time with all the room there is.
  template <class Operation>
  void RunOut(
      const char* name, Operation&& operation, const std::function<void()>& before = [] {},
      const std::function<void()>& after = [] {}) {
    for (long room = 0; room < 2000; ++room) {
      before();
      t_allocations = room;
      bool threw = false;
      try {
        operation();
      } catch (...) {
        threw = true;
      }
      const bool ranOut = t_allocations == 0;
      t_allocations = -1;
      after();
      ASSERT_FALSE(threw) << name << " with room for " << room;
      if (!ranOut) return;
    }
    FAIL() << name << " never had enough";
  }

  CTempFolder m_folder;
  std::unique_ptr<CServiceHandle> m_service;
  SQvExperiment m_experiment;
  CDiagRecorder m_diag;
};

TEST_F(MemoryTest, NoExceptionLeavesAnOperation) {
  const auto desc = Describe(m_folder.MakeFileWide("a picture with a name too long for a short string.tif"));
  const auto other = Describe(m_folder.MakeFileWide("another picture with a name too long for a short string.tif"));
  std::uint32_t state = 0;
  SQvPicBuf picture{};
  // Each attempt starts without the thumbnail.
  const auto forget = [&] {
    Cache().PurgeUnusedThumbnails();
    CSql(m_folder.Path("cache.db")).Run("DELETE FROM cache");
  };
  RunOut(
      "request from the file", [&] { Cache().RequestThumbnails(0, &desc, 1, 0, false); }, forget);
  RunOut(
      "request from the row", [&] { Cache().RequestThumbnails(0, &desc, 1, 0, false); },
      [&] { Cache().PurgeUnusedThumbnails(); });
  RunOut(
      "queued request", [&] { Cache().RequestThumbnails(0, &other, 1, 0, true); },
      [&] { Cache().PurgeUnusedThumbnails(); });
  RequestNow(Cache(), {desc});
  EXPECT_EQ(PeekState(Cache(), desc), kQvThumbnailReady) << "it works again";
  m_diag.Take();
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
  EXPECT_TRUE(m_diag.Take().empty()) << "no reference was lost or left";
  RunOut("cancel", [&] { Cache().CancelRequests(0, &desc, 1); });
  RunOut("cancel all", [&] { Cache().CancelAllRequests(); });
  RunOut("exclude", [&] { Cache().ExcludeLocation(other.location.c_str()); });
  RunOut("include", [&] { Cache().IncludeLocation(other.location.c_str()); });
  RunOut("purge", [&] { Cache().PurgeUnusedThumbnails(); });
  const auto callback = [](void*, const wchar_t*) {};
  RunOut("listeners", [&] {
    Cache().AddListener(callback, nullptr);
    Cache().RemoveListener({callback, nullptr});
  });
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

TEST_F(MemoryTest, NoExceptionLeavesTheOpening) {
  m_service->Close();
  const std::wstring path = m_folder.Wide("another database with a name too long for a short string.db");
  RunOut("open", [&] {
    if (m_service->Open(path) == 0) m_service->Close();
  });
  EXPECT_EQ(m_service->Open(path), 0);
}

}  // namespace
}  // namespace qvtest
