// Memory hits: GetCachedThumbnail and ReleaseThumbnail against two bare lookups (lower-case, lock, ordered map) of the
// same keys.

#include <algorithm>
#include <cwctype>
#include <map>
#include <memory>
#include <mutex>
#include <numeric>
#include <random>
#include <thread>

#include "bench/service/support/cache.h"
#include "bench/service/support/detailed_picture.h"
#include "bench/service/support/paired.h"
#include "tests/support/temp_folder.h"

namespace {

using namespace qvbench;

constexpr std::size_t kLookupsPerRound = 20000;  // of each thread
constexpr int kRounds = 15;

// A map of the same keys, used as a bare program would.
class CBareMap {
 public:
  explicit CBareMap(const std::vector<SQvThumbnailDescription>& descriptions) {
    for (const SQvThumbnailDescription& description : descriptions)
      m_map[KeyOf(description)] = std::make_unique<SEntry>();
  }
  void AddHolders(const SQvThumbnailDescription& description, int change) { AddHolders(KeyOf(description), change); }
  // Looks a key up that the C library has lower-cased.
  void FindWithTowlower(const SQvThumbnailDescription& description) {
    std::wstring key = description.location.Str();
    for (wchar_t& c : key) c = static_cast<wchar_t>(std::towlower(static_cast<std::wint_t>(c)));
    AddHolders(key += L"@A", 0);
  }

 private:
  void AddHolders(const std::wstring& key, int change) {
    const std::lock_guard lock(m_mutex);
    const auto found = m_map.find(key);
    if (found == m_map.end()) Fail("a key is missing");
    found->second->holders += change;
  }

  struct SEntry {
    int holders = 0;
    char rest[200];
  };
  static std::wstring KeyOf(const SQvThumbnailDescription& description) {
    std::wstring key;
    key.reserve(description.location.GetLength() + 2);
    key = description.location.Str();
    CQvStringUtils::ToLower(key);
    return key += L"@A";
  }
  std::mutex m_mutex;
  std::map<std::wstring, std::unique_ptr<SEntry>> m_map;
};

// The service with that many ready thumbnails in memory, a bare map of the same keys, and an order to look in.
class CReadyThumbnails {
 public:
  explicit CReadyThumbnails(std::size_t entries) : m_descriptions(DescribeFirst(entries)) {
    const std::string file = m_folder.Path("cache.db");
    MakeDatabase(file);
    FillRows(file, 0, entries, MakeJpeg(8, 8), false);
    m_cache = std::make_unique<COpenCache>(file);
    (*m_cache)->SetCacheLimit(static_cast<std::uint32_t>(entries + 1));
    (*m_cache)->RequestThumbnails(0, m_descriptions.data(), static_cast<std::uint32_t>(entries), 0, false);
    m_bareMap = std::make_unique<CBareMap>(m_descriptions);
    m_order.resize(entries);
    std::iota(m_order.begin(), m_order.end(), 0u);
    std::shuffle(m_order.begin(), m_order.end(), std::mt19937(1));
  }

  void LookUpInService(unsigned thread) {
    ForEachLookup(thread, [&](const auto& description) { GetAndRelease(thread, description); });
  }
  void LookUpInMap(unsigned thread) {
    ForEachLookup(thread, [&](const auto& description) {
      m_bareMap->AddHolders(description, 1);
      m_bareMap->AddHolders(description, -1);
    });
  }
  void LookUpOnceWithTowlower() {
    ForEachLookup(0, [&](const auto& description) { m_bareMap->FindWithTowlower(description); });
  }

 private:
  template <class Visit>
  void ForEachLookup(unsigned thread, Visit&& visit) const {
    const std::size_t start = thread * 7919;
    for (std::size_t i = 0; i < kLookupsPerRound; ++i) visit(m_descriptions[m_order[(start + i) % m_order.size()]]);
  }
  void GetAndRelease(unsigned thread, const SQvThumbnailDescription& description) {
    std::uint32_t state = 0;
    SQvPicBuf picture{};
    (*m_cache)->GetCachedThumbnail(thread + 1, description, &state, &picture);
    if (state != kQvThumbnailReady) Fail("a thumbnail is not ready");
    (*m_cache)->ReleaseThumbnail(thread + 1, description);
  }

  qvtest::CTempFolder m_folder;
  std::vector<SQvThumbnailDescription> m_descriptions;
  std::vector<std::uint32_t> m_order;
  std::unique_ptr<COpenCache> m_cache;
  std::unique_ptr<CBareMap> m_bareMap;
};

void LookUp(benchmark::State& state, std::size_t entries) {
  CReadyThumbnails thumbnails(entries);
  RunPaired(
      state, kLookupsPerRound, {EMeasure::RatioAtMost, 1.5}, [&] { thumbnails.LookUpInService(0); },
      [&] { thumbnails.LookUpInMap(0); });
}

// One lookup with the C library's lower-casing for the two calls.
void LookUpAgainstTowlower(benchmark::State& state, std::size_t entries) {
  CReadyThumbnails thumbnails(entries);
  RunPaired(
      state, kLookupsPerRound, {EMeasure::RatioAtMost, 1.5}, [&] { thumbnails.LookUpInService(0); },
      [&] { thumbnails.LookUpOnceWithTowlower(); });
}

// The rate of four threads in all against that of one; both ours, or both bare.
template <class Lookups>
void RunFourThreads(benchmark::State& state, const SLimit& limit, const Lookups& lookUp) {
  constexpr unsigned kThreads = 4;
  RunPaired(
      state, kThreads * kLookupsPerRound, limit,
      [&] {
        std::vector<std::thread> threads;
        for (unsigned t = 0; t < kThreads; ++t) threads.emplace_back([&lookUp, t] { lookUp(t); });
        for (std::thread& thread : threads) thread.join();
      },
      [&] {
        for (unsigned t = 0; t < kThreads; ++t) lookUp(t);
      });
}

void LookUpOnFourThreads(benchmark::State& state) {
  CReadyThumbnails thumbnails(1000);
  RunFourThreads(state, {EMeasure::SpeedAtLeast, 0.5}, [&](unsigned thread) { thumbnails.LookUpInService(thread); });
}

void LookUpInMapOnFourThreads(benchmark::State& state) {
  CReadyThumbnails thumbnails(1000);
  RunFourThreads(state, kNoSpeedLimit, [&](unsigned thread) { thumbnails.LookUpInMap(thread); });
}

BENCHMARK_CAPTURE(LookUp, 1000, 1000)->Name("hot, 1,000 entries")->Iterations(kRounds)->UseManualTime();
BENCHMARK_CAPTURE(LookUp, 100000, 100000)->Name("hot, 100,000 entries")->Iterations(kRounds)->UseManualTime();
BENCHMARK_CAPTURE(LookUpAgainstTowlower, 1000, 1000)
    ->Name("hot, 1,000 entries, against one lookup with towlower")
    ->Iterations(kRounds)
    ->UseManualTime();
BENCHMARK_CAPTURE(LookUpAgainstTowlower, 100000, 100000)
    ->Name("hot, 100,000 entries, against one lookup with towlower")
    ->Iterations(kRounds)
    ->UseManualTime();
BENCHMARK(LookUpOnFourThreads)->Name("hot, four threads against one")->Iterations(kRounds)->UseManualTime();
BENCHMARK(LookUpInMapOnFourThreads)
    ->Name("the bare map, four threads against one")
    ->Iterations(kRounds)
    ->UseManualTime();

}  // namespace
