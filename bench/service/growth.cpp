// What a thumbnail costs when there are many: entries in the map, requests in the queue, rows in the database. Each row
// sets a large collection against one of 1,000.

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <numeric>
#include <random>

#include "bench/service/support/cache.h"
#include "bench/service/support/detailed_picture.h"
#include "bench/service/support/measuring_process.h"
#include "bench/service/support/paired.h"
#include "tests/support/file_bytes.h"
#include "tests/support/sql.h"
#include "tests/support/temp_folder.h"

namespace {

using namespace qvbench;

constexpr std::size_t kSmallCollection = 1000;
constexpr std::size_t kLargeCollection = 100000;
constexpr std::size_t kLargeDatabase = 1000000;
constexpr std::size_t kThumbnailsPerRound = 100;
constexpr int kRounds = 11;
constexpr SLimit kLimit = {EMeasure::RatioAtMost, 1.3};

// Times of one thumbnail in a large collection against those in a small one.
void CompareCollections(benchmark::State& state, CMeasuringProcess& large, CMeasuringProcess& small,
                        const SLimit& limit = kLimit) {
  small.RunRound();
  large.RunRound();
  CPairedRounds rounds(state, 1, limit);
  for ([[maybe_unused]] auto _ : state) {
    const double smallTime = small.RunRound();
    rounds.Add(large.RunRound(), smallTime);
  }
}

// Every nth of `count` numbers, in a random order.
std::vector<std::size_t> ShuffledMultiples(std::size_t count, std::size_t wanted, unsigned seed) {
  std::vector<std::size_t> numbers(wanted);
  for (std::size_t i = 0; i < wanted; ++i) numbers[i] = i * (count / wanted);
  std::shuffle(numbers.begin(), numbers.end(), std::mt19937(seed));
  return numbers;
}

// Rows with a small picture, and among them some with a thumbnail of the usual size.
void MakeCollection(const std::string& file, std::size_t count, bool withTexts) {
  MakeDatabase(file);
  FillRows(file, 0, count, MakeJpeg(8, 8), withTexts);
  qvtest::CSql db(file);
  db.Run("BEGIN");
  const auto usual = MakeJpeg(240, 180);
  for (const std::size_t i : ShuffledMultiples(count, kThumbnailsPerRound, 0)) {
    qvtest::CSqlStatement update(db, "UPDATE cache SET binData = ? WHERE filename = ?");
    update.Blob(1, usual).Text(2, RowNameOf(i)).Done();
  }
  db.Run("COMMIT");
  db.Run("PRAGMA wal_checkpoint(TRUNCATE)");
}

// The service and what is asked of it.
struct SRequests {
  explicit SRequests(const std::string& file) : cache(file) {}
  COpenCache cache;
  std::vector<SQvThumbnailDescription> descriptions;
};

// Seconds for one of the sample's thumbnails, read from their rows with a full map around them.
CMeasuringProcess::CRound MeasureReads(const std::shared_ptr<SRequests>& requests) {
  return [requests] {
    return SecondsOf([&] {
             requests->cache->RequestThumbnails(0, requests->descriptions.data(), kThumbnailsPerRound, 0, false);
           }) /
           static_cast<double>(kThumbnailsPerRound);
  };
}

// Gives malloc enough for a bench's pictures, so that the system's way of handing out new memory is not measured.
void PrefaultMemory() {
  std::vector<char> memory((kRounds + 1) * kThumbnailsPerRound * 240 * 180 * 3, 1);
  benchmark::DoNotOptimize(memory.data());
}

// Rows beside those that fill a map, to be asked for in turn: more than a small map holds.
constexpr std::size_t kUncachedRows = 2 * kSmallCollection;

// A map of `count` ready entries at its limit: each thumbnail evicts the one used longest ago.
CMeasuringProcess::CRound MeasureFullMap(const std::string& file, std::size_t count) {
  auto requests = std::make_shared<SRequests>(file);
  requests->cache->SetCacheLimit(static_cast<std::uint32_t>(count));
  const auto all = DescribeFirst(count);
  requests->cache->RequestThumbnails(0, all.data(), static_cast<std::uint32_t>(count), 0, false);
  requests->descriptions = DescribeFirst(count + kUncachedRows);
  PrefaultMemory();
  return [requests, count, turn = std::size_t{0}]() mutable {
    const std::size_t first = count + turn * kThumbnailsPerRound % kUncachedRows;
    ++turn;
    return SecondsOf([&] {
             requests->cache->RequestThumbnails(0, &requests->descriptions[first], kThumbnailsPerRound, 0, false);
           }) /
           static_cast<double>(kThumbnailsPerRound);
  };
}

// The maps are filled with small pictures, or they would take 13 GB; `stream` is what is then asked for.
void RunFullMap(benchmark::State& state, const qvtest::SFileBytes& stream, const SLimit& limit) {
  qvtest::CTempFolder folder;
  const std::string file = folder.Path("cache.db");
  MakeDatabase(file);
  const auto filling = MakeJpeg(8, 8);
  FillRows(file, 0, kSmallCollection, filling, false);
  FillRows(file, kSmallCollection, kSmallCollection + kUncachedRows, stream, false);
  FillRows(file, kSmallCollection + kUncachedRows, kLargeCollection, filling, false);
  FillRows(file, kLargeCollection, kLargeCollection + kUncachedRows, stream, false);
  CMeasuringProcess small([&] { return MeasureFullMap(file, kSmallCollection); });
  CMeasuringProcess large([&] { return MeasureFullMap(file, kLargeCollection); });
  CompareCollections(state, large, small, limit);
}
void UsualThumbnailsInFullMap(benchmark::State& state) { RunFullMap(state, MakeJpeg(240, 180), kLimit); }
// With nearly nothing to decode, what is left is the map and the reading of the row.
void SmallThumbnailsInFullMap(benchmark::State& state) { RunFullMap(state, MakeJpeg(8, 8), kNoLimit); }

// Queues `count` requests at once and waits for the workers to finish them; as often as makes up the same number.
class CQueueRequests {
 public:
  CQueueRequests(const std::string& file, std::size_t count) : m_cache(file), m_count(count) {
    m_descriptions = DescribeFirst(kLargeCollection);
    m_cache->SetCacheLimit(kLargeCollection + 1);
  }
  // Seconds a request.
  double RunRound() {
    double seconds = 0;
    constexpr std::size_t kThumbnails = 20000;
    const std::size_t repeats = m_count < kThumbnails ? kThumbnails / m_count : 1;
    for (std::size_t i = 0; i < repeats; ++i) {
      m_cache->PurgeUnusedThumbnails();
      seconds += SecondsOf([&] { m_requests.MakeAll({&m_descriptions[i * m_count], m_count}); });
    }
    return seconds / static_cast<double>(repeats * m_count);
  }

 private:
  COpenCache m_cache;
  CQueuedRequests m_requests{*m_cache};
  const std::size_t m_count;
  std::vector<SQvThumbnailDescription> m_descriptions;
};

void FillQueue(benchmark::State& state) {
  qvtest::CTempFolder folder;
  MakeDatabase(folder.Path("cache.db"));
  FillRows(folder.Path("cache.db"), 0, kLargeCollection, MakeJpeg(8, 8), false);
  const auto queue = [&](std::size_t count) {
    return [&folder, count]() -> CMeasuringProcess::CRound {
      auto requests = std::make_shared<CQueueRequests>(folder.Path("cache.db"), count);
      return [requests] { return requests->RunRound(); };
    };
  };
  CMeasuringProcess small(queue(kSmallCollection)), large(queue(kLargeCollection));
  CompareCollections(state, large, small);
}

// Thumbnails of the usual size, spread over the rows, read from them.
CMeasuringProcess::CRound MeasureRowReads(const std::string& file, std::size_t count) {
  auto requests = std::make_shared<SRequests>(file);
  requests->cache->SetCacheLimit(0);
  for (const std::size_t i : ShuffledMultiples(count, kThumbnailsPerRound, 1))
    requests->descriptions.push_back(Describe(LocationOf(i)));
  return MeasureReads(requests);
}

// Thumbnails made from small new files, and their rows written.
CMeasuringProcess::CRound MeasureNewThumbnails(const std::string& file, const std::string& picture) {
  auto cache = std::make_shared<COpenCache>(file);
  return [cache, picture, number = 0]() mutable {
    std::vector<SQvThumbnailDescription> descriptions;
    for (std::size_t i = 0; i < kThumbnailsPerRound; ++i) {
      // Names that fall all over the index.
      const unsigned place = static_cast<unsigned>(++number) * 2654435761u;
      const std::string name = picture + "-" + std::to_string(place) + "-" + std::to_string(getpid());
      std::filesystem::create_hard_link(picture, name);
      descriptions.push_back(Describe(CQvStringUtils::UTF8toW(name).Str()));
    }
    return SecondsOf([&] { (*cache)->RequestThumbnails(0, descriptions.data(), kThumbnailsPerRound, 0, false); }) /
           static_cast<double>(kThumbnailsPerRound);
  };
}

struct SCollections {
  SCollections() {
    MakeCollection(folder.Path("small.db"), kSmallCollection, true);
    MakeCollection(folder.Path("large.db"), kLargeDatabase, true);
  }
  qvtest::CTempFolder folder;
};

void ReadRowsOfCollections(benchmark::State& state) {
  const SCollections collections;
  CMeasuringProcess small([&] { return MeasureRowReads(collections.folder.Path("small.db"), kSmallCollection); });
  CMeasuringProcess large([&] { return MeasureRowReads(collections.folder.Path("large.db"), kLargeDatabase); });
  CompareCollections(state, large, small);
}

void MakeThumbnailsInCollections(benchmark::State& state) {
  const SCollections collections;
  const std::string picture = collections.folder.Path("picture.jpg");
  qvtest::WriteFile(picture, MakeJpeg(1024, 768));
  CMeasuringProcess small([&] { return MeasureNewThumbnails(collections.folder.Path("small.db"), picture); });
  CMeasuringProcess large([&] { return MeasureNewThumbnails(collections.folder.Path("large.db"), picture); });
  CompareCollections(state, large, small);
}

BENCHMARK(UsualThumbnailsInFullMap)->Name("growth, 100,000 entries in the map")->Iterations(kRounds)->UseManualTime();
BENCHMARK(SmallThumbnailsInFullMap)
    ->Name("growth, 100,000 entries, pictures of 8 x 8")
    ->Iterations(kRounds)
    ->UseManualTime();
BENCHMARK(FillQueue)->Name("growth, 100,000 requests in the queue")->Iterations(kRounds)->UseManualTime();
BENCHMARK(ReadRowsOfCollections)->Name("growth, 1,000,000 rows, row to picture")->Iterations(kRounds)->UseManualTime();
BENCHMARK(MakeThumbnailsInCollections)
    ->Name("growth, 1,000,000 rows, new thumbnail")
    ->Iterations(kRounds)
    ->UseManualTime();

}  // namespace
