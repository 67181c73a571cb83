#include "metadata/qvexperiment.h"
#include "tests/thumbnailcache/support/service_test.h"

// Calls every operation through its slot of the object's first dispatch table, as a host built by another compiler
// of the same platform does.
namespace qvtest {
namespace {

class DispatchTableTest : public ServiceTest {
 protected:
  template <class Result, class... Args, class... Given>
  Result Slot(int slot, Given&&... given) {
    using Function = Result (*)(IQvThumbnailCache*, Args...);
    void* const entry = (*reinterpret_cast<void***>(&Cache()))[slot];
    return reinterpret_cast<Function>(entry)(&Cache(), std::forward<Given>(given)...);
  }
  using Desc = const SQvThumbnailDescription&;
};

TEST_F(DispatchTableTest, SettingsLieInSlots2And9To18) {
  EXPECT_EQ((Slot<std::int32_t, const wchar_t*>(16, Folder().Wide("cache.db").c_str())), 0);
  EXPECT_EQ(Slot<std::int32_t>(2), -2);
  EXPECT_EQ(Slot<std::int32_t>(9), 0);
  EXPECT_EQ((Slot<std::int32_t, bool>(10, true)), 0);
  bool high = false;
  EXPECT_EQ((Slot<std::int32_t, bool*>(11, &high)), 0);
  EXPECT_TRUE(high);
  EXPECT_EQ((Slot<std::int32_t, std::uint32_t, std::uint32_t, bool>(12, 31u, 32u, true)), 0);
  std::uint32_t width = 0, height = 0;
  EXPECT_EQ((Slot<std::int32_t, bool, std::uint32_t*, std::uint32_t*>(13, true, &width, &height)), 0);
  EXPECT_EQ(width, 31u);
  EXPECT_EQ(height, 32u);
  EXPECT_EQ((Slot<std::int32_t, std::uint32_t>(15, 33u)), 0);
  EXPECT_EQ(Slot<std::uint32_t>(14), 33u);
  EXPECT_FALSE((Slot<bool, CQvStringW>(18, CQvStringW(L"x"))));
  const int withWorkers = CountThreads();
  EXPECT_EQ(Slot<std::int32_t>(17), 0);
  EXPECT_TRUE(WaitForThreads(withWorkers - 2));
}

TEST_F(DispatchTableTest, ThumbnailsLieInSlots0To8And31And32) {
  ASSERT_EQ(Open(), 0);
  const SQvThumbnailDescription desc = Describe(MakeFile("a.tif"));
  EXPECT_EQ((Slot<std::int32_t, std::uint64_t, const SQvThumbnailDescription*, std::uint32_t, std::uint32_t, bool>(
                5, 0u, &desc, 1u, 0u, false)),
            0);
  std::uint32_t state = 0;
  SQvPicBuf picture{};
  EXPECT_EQ((Slot<std::int32_t, std::uint64_t, Desc, std::uint32_t*, SQvPicBuf*>(0, 1u, desc, &state, &picture)), 0);
  EXPECT_EQ(state, kQvThumbnailReady);
  EXPECT_EQ((Slot<std::int32_t, std::uint64_t, Desc>(1, 1u, desc)), 0);
  EXPECT_TRUE(m_diag.Take().empty());

  struct SPair {
    int calls = 0;
    static void Call(void* context, const wchar_t*) { ++static_cast<SPair*>(context)->calls; }
  } heard;
  const auto handle = Slot<QvThumbnailListener, QvThumbnailCallback, void*>(31, &SPair::Call, &heard);
  EXPECT_EQ(handle, QvThumbnailListener(&SPair::Call, &heard));
  CRecordingListener listener(Cache());
  MakeOne(listener);
  EXPECT_EQ(heard.calls, 1);
  Slot<void, const QvThumbnailListener&>(32, handle);
  MakeOne(listener);
  EXPECT_EQ(heard.calls, 1);

  OccupyWorkers(listener);
  const SQvThumbnailDescription waiting[2] = {Describe(MakeFile("b.tif")), Describe(MakeFile("c.tif"))};
  Queue(Cache(), {waiting[0], waiting[1]});
  EXPECT_EQ((Slot<std::int32_t, std::uint64_t, const SQvThumbnailDescription*, std::int32_t>(4, 0u, waiting, 1)), 0);
  Slot<void, const wchar_t*>(6, waiting[1].location.c_str());
  FreeWorkers(listener);
  Drain(listener);
  EXPECT_EQ(Script().RenderCount(waiting[0].location.Str()), 0) << "cancelled through slot 4";
  EXPECT_EQ(Script().RenderCount(waiting[1].location.Str()), 0) << "excluded through slot 6";
  Slot<void, const wchar_t*>(7, waiting[1].location.c_str());
  Queue(Cache(), {waiting[1]});
  listener.WaitFor(waiting[1].location.Str());

  OccupyWorkers(listener);
  const SQvThumbnailDescription more = Describe(MakeFile("d.tif"));
  Queue(Cache(), {more});
  EXPECT_EQ(Slot<std::int32_t>(3), 0);
  FreeWorkers(listener);
  Drain(listener);
  EXPECT_EQ(Script().RenderCount(more.location.Str()), 0) << "cancelled through slot 3";
  EXPECT_EQ(Slot<std::int32_t>(8), 0);
  EXPECT_EQ(PeekState(Cache(), desc), kQvThumbnailNone) << "purged through slot 8";
}

TEST_F(DispatchTableTest, TextInformationLiesInSlot19) {
  ASSERT_EQ(Open(), 0);
  standin::SFile file(123, 45);
  file.metadata.text.author = L"Ada";
  const std::wstring path = MakeFile("text.tif", file);
  SQvImageTextInfo text;
  SQvImageInfo info;
  double calibration = 0, time = 0;
  CQvStringW objective;
  std::int64_t size = 0;
  std::uint32_t loops[4] = {};
  EXPECT_EQ(
      (Slot<std::int32_t, const wchar_t*, SQvImageTextInfo&, SQvImageInfo&, double&, CQvStringW&, double&,
            std::int64_t&, std::uint32_t*>(19, path.c_str(), text, info, calibration, objective, time, size, loops)),
      0);
  EXPECT_EQ(info.width, 123u);
  EXPECT_EQ(text.author.Str(), L"Ada");
}

TEST_F(DispatchTableTest, ExperimentsAndHistoryLieInSlots20To26) {
  ASSERT_EQ(Open(), 0);
  SQvExperiment experiment;
  experiment.loopType = kQvLoopZ;
  experiment.loopSize = 9;
  int id = 0;
  EXPECT_EQ((Slot<std::int32_t, const SQvExperiment*, const SQvPicturePlanes*, double, int, int*>(
                20, &experiment, nullptr, 5.0, 3, &id)),
            0);
  EXPECT_EQ(id, 1);
  SQvExperiment* read = nullptr;
  SQvPicturePlanes planes;
  double time = 0;
  EXPECT_EQ((Slot<std::int32_t, SQvExperiment**, SQvPicturePlanes*, double*, int>(21, &read, &planes, &time, id)), 0);
  ASSERT_NE(read, nullptr);
  EXPECT_EQ(read->loopSize, 9u);
  SQvExperiment::FreeRecursive(read);
  std::vector<int> ids;
  EXPECT_EQ((Slot<std::int32_t, int, std::vector<int>*>(23, 3, &ids)), 0);
  EXPECT_EQ(ids, std::vector<int>{id});

  EXPECT_EQ((Slot<std::int32_t, const wchar_t*, const wchar_t*, double, int>(25, L"f.tif", L"ada", 5.0, id)), 0);
  std::vector<double> times;
  std::vector<CQvStringW> names;
  EXPECT_EQ((Slot<std::int32_t, const wchar_t*, double, double, std::vector<int>*, std::vector<double>*,
                  std::vector<CQvStringW>*>(22, L"ada", 0.0, 9.0, &ids, &times, &names)),
            0);
  EXPECT_EQ(times, std::vector<double>{5.0});
  names.clear();
  EXPECT_EQ((Slot<std::int32_t, const wchar_t*, int, double, double, std::vector<CQvStringW>*>(26, L"ada", id, 0.0, 9.0,
                                                                                               &names)),
            0);
  EXPECT_EQ(names, std::vector<CQvStringW>{L"f.tif"});
  EXPECT_EQ((Slot<std::int32_t, double, double, int>(24, 0.0, 9.0, id)), 0);
  EXPECT_EQ(CSql(DatabaseFile()).Value("SELECT count(*) FROM history"), "0");
}

TEST_F(DispatchTableTest, TheBasesHaveTablesOfTheirOwn) {
  IQvInterface* const root = &Cache();
  void** const table = *reinterpret_cast<void***>(root);
  EXPECT_EQ(reinterpret_cast<std::int32_t (*)(IQvInterface*)>(table[0])(root), 2) << "AddRef";
  EXPECT_EQ(reinterpret_cast<std::int32_t (*)(IQvInterface*)>(table[1])(root), 1) << "Release";
  EXPECT_STREQ(reinterpret_cast<const char* (*)(const IQvInterface*)>(table[2])(root), "CQvThumbnailCacheImpl");
  const auto query = reinterpret_cast<IQvInterface* (*)(IQvInterface*, const char*)>(table[3]);
  EXPECT_EQ(query(root, "IQvThumbnailCache"), root);
  EXPECT_EQ(root->Release(), 1);

  // Behind the two destructors that this platform's tables have.
  auto* const base = dynamic_cast<CQvClass*>(root);
  void** const baseTable = *reinterpret_cast<void***>(base);
  EXPECT_EQ(reinterpret_cast<void* (*)(CQvClass*)>(baseTable[2])(base), dynamic_cast<void*>(root));
}

TEST_F(DispatchTableTest, StoredItemsLieInSlots27To30) {
  ASSERT_EQ(Open(), 0);
  int id = 0;
  EXPECT_EQ((Slot<std::int32_t, int, const wchar_t*, int, int*>(28, 7, L"item", 1, &id)), 0);
  EXPECT_EQ(id, 1);
  EXPECT_EQ((Slot<std::int32_t, int, int, const wchar_t*, int>(27, id, 8, L"renamed", 2)), 0);
  std::vector<int> ids;
  std::vector<CQvStringW> names;
  EXPECT_EQ((Slot<std::int32_t, int, std::vector<int>*, std::vector<CQvStringW>*>(29, 8, &ids, &names)), 0);
  EXPECT_EQ(names, std::vector<CQvStringW>{L"renamed"});
  EXPECT_EQ((Slot<std::int32_t, int>(30, id)), 0);
  EXPECT_EQ(CSql(DatabaseFile()).Value("SELECT count(*) FROM stored"), "0");
}

}  // namespace
}  // namespace qvtest
