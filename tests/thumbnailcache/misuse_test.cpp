#include <limits>

#include "metadata/qvexperiment.h"
#include "tests/thumbnailcache/support/every_operation.h"
#include "tests/thumbnailcache/support/service_test.h"

// Every operation as it must not be called: without a database, with nothing where something belongs, with numbers that
// nothing has. Each has an answer, and the service goes on.

namespace qvtest {
namespace {

constexpr int kLimits[] = {std::numeric_limits<int>::min(), -1, 0, std::numeric_limits<int>::max()};
const double kNotANumber = std::numeric_limits<double>::quiet_NaN();
const double kEndless = std::numeric_limits<double>::infinity();

class MisuseTest : public ServiceTest {
 protected:
  // It still does what it is for.
  void ExpectService() {
    const auto desc = Describe(MakeFile("after.tif"));
    RequestNow(Cache(), {desc});
    EXPECT_EQ(PeekState(Cache(), desc), kQvThumbnailReady);
    Cache().PurgeUnusedThumbnails();
    m_diag.Take();
  }
  std::int32_t GetTexts(const wchar_t* path, std::uint32_t* loops) {
    SQvImageTextInfo text;
    SQvImageInfo info;
    double calibration = 0, time = 0;
    CQvStringW objective;
    std::int64_t size = 0;
    return Cache().GetFileTextInfo(path, text, info, calibration, objective, time, size, loops);
  }
};

TEST_F(MisuseTest, EveryOperationHasAnAnswerWithoutADatabase) {
  CEveryOperation every(Cache(), {Describe(MakeFile("a.tif"))}, 1);
  const auto callAll = [&] {
    for (int operation = 0; operation < CEveryOperation::kCount; ++operation) {
      if (operation != CEveryOperation::kOpen) every.Call(operation);
    }
    every.NextRound();
  };
  callAll();
  ASSERT_EQ(Open(), 0);
  Close();
  callAll();
  EXPECT_EQ(Cache().OpenDatabase(Folder().Wide("nowhere/cache.db").c_str()), -9);
  callAll();
  Cache().CloseDatabase();
  // What was asked for without workers is theirs once there are some.
  Cache().PurgeUnusedThumbnails();
  ASSERT_EQ(Open(), 0);
  ExpectService();
}

TEST_F(MisuseTest, NothingInPlaceOfArgumentsIsRefusedOrIgnored) {
  ASSERT_EQ(Open(), 0);
  const auto desc = Describe(MakeFile("a.tif"));
  std::uint32_t state = 77;
  SQvPicBuf picture{};
  EXPECT_EQ(Cache().GetCachedThumbnail(1, desc, nullptr, &picture), -9);
  EXPECT_EQ(Cache().GetCachedThumbnail(1, desc, &state, nullptr), -9);
  EXPECT_EQ(state, 77u);
  EXPECT_EQ(Cache().CancelRequests(1, nullptr, 3), 0);
  EXPECT_EQ(Cache().CancelRequests(1, &desc, -1), 0);
  EXPECT_EQ(Cache().RequestThumbnails(0, nullptr, 3, 0, true), 0);
  EXPECT_EQ(Cache().RequestThumbnails(0, nullptr, 3, 0, false), 0);
  Cache().ExcludeLocation(nullptr);
  Cache().IncludeLocation(nullptr);
  EXPECT_EQ(Cache().GetHighQuality(nullptr), 0);
  EXPECT_EQ(Cache().GetThumbnailBox(true, nullptr, nullptr), 0);
  EXPECT_EQ(GetTexts(nullptr, nullptr), -9);
  SQvExperiment* experiment = nullptr;
  SQvPicturePlanes planes;
  double time = 0;
  EXPECT_EQ(Cache().WriteExperiment(nullptr, nullptr, 1, 1, nullptr), -9);
  EXPECT_EQ(Cache().ReadExperiment(nullptr, &planes, &time, 1), -9);
  EXPECT_EQ(Cache().ReadExperiment(&experiment, nullptr, &time, 1), -9);
  EXPECT_EQ(Cache().WriteHistory(nullptr, L"ada", 1, 1), -9);
  Cache().WriteHistory(L"/x", nullptr, 1, 1);
  Cache().ReadHistory(nullptr, 0, 9, nullptr, nullptr, nullptr);
  Cache().ReadHistory(L"ada", -1.0, -1.0, nullptr, nullptr, nullptr);
  Cache().GetHistoryFilenames(nullptr, 1, 0, 9, nullptr);
  Cache().GetExperimentIDsByStoredID(1, nullptr);
  EXPECT_EQ(Cache().InsertStoredItem(1, nullptr, 0, nullptr), -9);
  EXPECT_EQ(Cache().InsertStoredItem(1, L"x", 0, nullptr), 0);
  Cache().UpdateStoredItem(1, 2, nullptr, 0);
  Cache().GetStoredChildren(1, nullptr, nullptr);
  EXPECT_EQ(Cache().AddListener(nullptr, nullptr), QvThumbnailListener());
  Cache().RemoveListener({nullptr, this});
  ExpectService();
  Cache().RemoveListener({nullptr, nullptr});
}

TEST_F(MisuseTest, NumbersThatNothingHasChangeNothing) {
  ASSERT_EQ(Open(), 0);
  int kept = 0;
  ASSERT_EQ(Cache().InsertStoredItem(0, L"kept", 0, &kept), 0);
  std::vector<int> ids;
  std::vector<double> times;
  std::vector<CQvStringW> names;
  for (const int number : kLimits) {
    SQvExperiment* experiment = nullptr;
    SQvPicturePlanes planes;
    double time = 0;
    EXPECT_EQ(Cache().UpdateStoredItem(number, 1, L"x", 1), -9);
    EXPECT_EQ(Cache().ReadExperiment(&experiment, &planes, &time, number), 0);
    EXPECT_EQ(experiment, nullptr);
    EXPECT_EQ(Cache().GetExperimentIDsByStoredID(number, &ids), 0);
    EXPECT_EQ(Cache().DeleteHistory(kNotANumber, kEndless, number), 0);
    EXPECT_EQ(Cache().DeleteHistory(9, 0, number), 0);
    Cache().SetCacheLimit(static_cast<std::uint32_t>(number));
    Cache().SetThumbnailBox(static_cast<std::uint32_t>(number), 0, true);
  }
  for (const double time : {kNotANumber, kEndless, -kEndless}) {
    EXPECT_EQ(Cache().ReadHistory(L"ada", time, time, &ids, &times, &names), 0);
    EXPECT_EQ(Cache().GetHistoryFilenames(L"ada", 1, time, time, &names), 0);
    RequestNow(Cache(), {Describe(MakeFile("odd time.tif"), 0, time)});
  }
  EXPECT_EQ(CSql(DatabaseFile()).Value("SELECT filename FROM stored"), "kept");
  Cache().SetCacheLimit(10);
  ExpectService();
}

TEST_F(MisuseTest, ThumbnailsThatNobodyHoldsCanBeGivenBack) {
  ASSERT_EQ(Open(), 0);
  const auto desc = Describe(MakeFile("a.tif"));
  EXPECT_EQ(Cache().ReleaseThumbnail(1, desc), 0);
  RequestNow(Cache(), {desc});
  EXPECT_EQ(Cache().ReleaseThumbnail(1, desc), 0);
  const SLookup look = Get(Cache(), desc, 1);
  Get(Cache(), desc, 1);
  for (int times = 0; times < 3; ++times) EXPECT_EQ(Cache().ReleaseThumbnail(1, desc), 0);
  EXPECT_TRUE(look.HasPicture());
  EXPECT_EQ(m_diag.Take().size(), 5u) << "each is reported";
  ExpectService();
}

TEST_F(MisuseTest, OddLocationsEndLikeMissingFiles) {
  ASSERT_EQ(Open(), 0);
  const std::wstring lone = {L'/', static_cast<wchar_t>(0xD8DB), L'd', L'b'};
  const std::wstring odd[] = {L"",         L"/",
                              L"//",       L".",
                              L"\n",       std::wstring(100'000, L'x'),
                              lone,        SQvThumbnailDescription::MakeDBLocation(-1, L"").Str(),
                              L"/dev/null"};
  for (const std::wstring& location : odd) {
    const auto desc = Describe(location);
    RequestNow(Cache(), {desc});
    EXPECT_FALSE(Get(Cache(), desc).HasPicture()) << Utf8(location).substr(0, 40);
    Cache().ExcludeLocation(location.c_str());
    Cache().IncludeLocation(location.c_str());
    Cache().CancelRequests(0, &desc, 1);
  }
  ExpectService();
}

}  // namespace
}  // namespace qvtest
