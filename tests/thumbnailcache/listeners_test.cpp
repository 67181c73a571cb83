#include <condition_variable>
#include <cstdlib>
#include <functional>
#include <mutex>

#include "tests/thumbnailcache/support/image_database.h"
#include "tests/thumbnailcache/support/service_test.h"

namespace qvtest {
namespace {

using ::testing::ElementsAre;
using ::testing::SizeIs;
using ::testing::StartsWith;

// A listener that does what a test says, counted.
struct SActor {
  explicit SActor(std::function<void()> what) : act(std::move(what)) {}
  static void Call(void* context, const wchar_t*) {
    auto* self = static_cast<SActor*>(context);
    ++self->calls;
    self->act();
  }
  QvThumbnailListener Handle() { return {&SActor::Call, this}; }

  std::function<void()> act;
  std::atomic<int> calls{0};
};

// A place where one thread stands until another lets it go.
class CGate {
 public:
  void Stand() {
    std::unique_lock lock(m_mutex);
    m_reached = true;
    m_changed.notify_all();
    m_changed.wait(lock, [&] { return m_open; });
  }
  void WaitForSomebody() {
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [&] { return m_reached; });
  }
  void Open() {
    const std::lock_guard lock(m_mutex);
    m_open = true;
    m_changed.notify_all();
  }

 private:
  std::mutex m_mutex;
  std::condition_variable m_changed;
  bool m_reached = false, m_open = false;
};

class ListenersTest : public ServiceTest {
 protected:
  void SetUp() override {
    ServiceTest::SetUp();
    ASSERT_EQ(Open(), 0);
  }
  void Add(SActor& actor) { Cache().AddListener(&SActor::Call, &actor); }
};

TEST_F(ListenersTest, NoCallBeginsOnceARemovalHasReturned) {
  CGate gate;
  SActor first([&] { gate.Stand(); }), second([] {});
  Add(first);
  Add(second);
  CRecordingListener last(Cache());
  const std::wstring path = MakeFile("a.tif");
  Queue(Cache(), {Describe(path)});
  gate.WaitForSomebody();
  // The round is under way; the second listener's turn has not come.
  Cache().RemoveListener(second.Handle());
  gate.Open();
  last.WaitFor(path);
  EXPECT_EQ(second.calls, 0);
  Cache().RemoveListener(first.Handle());
}

TEST_F(ListenersTest, ListenerThatRemovesAnotherStopsItsCall) {
  SActor victim([] {});
  SActor remover([&] { Cache().RemoveListener(victim.Handle()); });
  Add(remover);
  Add(victim);
  CRecordingListener last(Cache());
  MakeOne(last);
  EXPECT_EQ(remover.calls, 1);
  EXPECT_EQ(victim.calls, 0);
  Cache().RemoveListener(remover.Handle());
}

TEST_F(ListenersTest, ListenerThatRemovesItselfIsNotCalledAgain) {
  SActor once([&] { Cache().RemoveListener(once.Handle()); });
  Add(once);
  CRecordingListener last(Cache());
  MakeOne(last);
  MakeOne(last);
  EXPECT_EQ(once.calls, 1);
}

TEST_F(ListenersTest, EqualPairThatIsLeftIsStillCalledInTheRound) {
  SActor twice([&] {
    if (twice.calls == 1) Cache().RemoveListener(twice.Handle());
  });
  Add(twice);
  Add(twice);
  CRecordingListener last(Cache());
  MakeOne(last);
  EXPECT_EQ(twice.calls, 2) << "the first went, the second is a listener of its own";
  Cache().RemoveListener(twice.Handle());
}

TEST_F(ListenersTest, ListenerAddedInARoundIsCalledFromTheNextOn) {
  SActor added([] {});
  SActor adder([&] {
    if (adder.calls == 1) Add(added);
  });
  Add(adder);
  CRecordingListener last(Cache());
  MakeOne(last);
  EXPECT_EQ(added.calls, 0);
  CRecordingListener behind(Cache());
  MakeOne(behind);
  EXPECT_EQ(added.calls, 1);
  Cache().RemoveListener(adder.Handle());
  Cache().RemoveListener(added.Handle());
}

TEST_F(ListenersTest, ListenerMayNeitherOpenNorClose) {
  std::int32_t closed = 0, opened = 0;
  const std::wstring other = Folder().Wide("other.db");
  SActor actor([&] {
    closed = Cache().CloseDatabase();
    opened = Cache().OpenDatabase(other.c_str());
  });
  Add(actor);
  CRecordingListener last(Cache());
  m_diag.Take();
  MakeOne(last);
  EXPECT_EQ(closed, -9);
  EXPECT_EQ(opened, -9);
  EXPECT_THAT(m_diag.TakeTexts(), ElementsAre(StartsWith(L"THUMBCACHE: "), StartsWith(L"THUMBCACHE: ")));
  Cache().RemoveListener(actor.Handle());
  MakeOne(last);
  EXPECT_EQ(Close(), 0) << "from outside it closes as ever";
}

TEST_F(ListenersTest, OwnerThatIsAskedForItsRecordMayNeitherOpenNorClose) {
  std::int32_t closed = 0;
  CImageDatabase owner;
  owner.records[1].fields[L"image"] = standin::SFile();
  Script().SetRenderHook([&](const std::wstring&) { closed = Cache().CloseDatabase(); });
  const std::wstring location = SQvThumbnailDescription::MakeDBLocation(1, L"image").Str();
  RequestNow(Cache(), {Describe(location, 0, 0.0, &owner)});
  EXPECT_EQ(closed, -9) << "on the caller's thread, which is in the middle of a request";
  EXPECT_EQ(PeekState(Cache(), Describe(location)), kQvThumbnailReady);
}

TEST_F(ListenersTest, LastReferenceGivenBackByAListenerKeepsTheService) {
  IQvThumbnailCache* other = AcquireService();
  IQvThumbnailCache* service = &Cache();
  std::atomic<std::int32_t> left{-1};
  SActor actor([&] {
    if (left >= 0) return;
    service->Release();
    left = service->Release();
  });
  Add(actor);
  m_diag.Take();
  {
    CRecordingListener last(Cache());
    MakeOne(last);
    EXPECT_EQ(left, 0);
    EXPECT_THAT(m_diag.TakeTexts(), ElementsAre(StartsWith(L"THUMBCACHE: ")));
  }
  // Whoever asks for the service finds it as it was, open; the last release from outside ends it.
  IQvThumbnailCache* again = AcquireService();
  EXPECT_EQ(again, other);
  again->RemoveListener(actor.Handle());
  EXPECT_EQ(again->AddRef(), 2);
  again->Release();
}

TEST(ListenerExitDeathTest, ProcessMayEndInAListener) {
#if defined(QV_ADDRESS_SANITIZER)
  GTEST_SKIP() << "the leak checker crashes in a process that ends on a worker";
#endif
  testing::GTEST_FLAG(death_test_style) = "threadsafe";
  EXPECT_EXIT(
      {
        auto folder = std::make_unique<CTempFolder>();
        standin::CScript::Get().Reset();
        UseStandInFormats();
        CServiceHandle service;
        service.Open(folder->Wide("cache.db"));
        const auto description = Describe(folder->MakeFileWide("a.tif"));
        const auto end = [](void* given, const wchar_t*) {
          static_cast<std::unique_ptr<CTempFolder>*>(given)->reset();
          std::exit(3);
        };
        service->AddListener(end, &folder);
        Queue(*service, {description});
        for (;;) std::this_thread::yield();
      },
      ::testing::ExitedWithCode(3), "");
}

}  // namespace
}  // namespace qvtest
