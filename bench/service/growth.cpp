// What a thumbnail costs when there are many: entries in the map, requests in the queue, rows in the database. Each row
// sets a large collection against one of 1,000.

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <memory>
#include <numeric>
#include <random>

#include "bench/service/support/cache.h"
#include "bench/service/support/paired.h"
#include "bench/service/support/side_process.h"

namespace {

using namespace qvbench;

constexpr std::size_t kFew = 1000;
constexpr std::size_t kMany = 100000;
constexpr std::size_t kManyRows = 1000000;
constexpr std::size_t kSample = 100;  // thumbnails of a round
constexpr int kRounds = 11;
constexpr SLimit kLimit = {EValue::RatioAtMost, 1.3};

void RunSides(benchmark::State& state, CSideProcess& many, CSideProcess& few, const SLimit& limit = kLimit) {
  few.RunRound();
  many.RunRound();
  CPairedRounds rounds(state, 1, limit);
  for ([[maybe_unused]] auto _ : state) {
    const double fewTime = few.RunRound();
    rounds.Add(many.RunRound(), fewTime);
  }
}

// Every nth of `count` numbers, in a random order.
std::vector<std::size_t> Spread(std::size_t count, std::size_t wanted, unsigned seed) {
  std::vector<std::size_t> numbers(wanted);
  for (std::size_t i = 0; i < wanted; ++i) numbers[i] = i * (count / wanted);
  std::shuffle(numbers.begin(), numbers.end(), std::mt19937(seed));
  return numbers;
}

// Rows with a small picture, and among them some with a thumbnail of the usual size.
void MakeCollection(const std::string& file, std::size_t count, bool withTexts) {
  MakeDatabase(file);
  FillRows(file, 0, count, MakeJpeg(8, 8), withTexts);
  CBareDatabase db(file);
  db.Run("BEGIN");
  const auto usual = MakeJpeg(240, 180);
  for (const std::size_t i : Spread(count, kSample, 0)) {
    CBareStatement update(db.Get(), "UPDATE cache SET binData = ? WHERE filename = ?");
    update.Blob(1, usual).Text(2, RowNameOf(i)).Done();
  }
  db.Run("COMMIT");
  db.Run("PRAGMA wal_checkpoint(TRUNCATE)");
}

struct SSide {
  explicit SSide(const std::string& file) : cache(file) {}
  COpenCache cache;
  std::vector<SQvThumbnailDescription> descriptions;
};

// Seconds for one of the sample's thumbnails, read from their rows with a full map around them.
CSideProcess::Round ReadSample(const std::shared_ptr<SSide>& side) {
  return [side] {
    return SecondsOf([&] { side->cache->RequestThumbnails(0, side->descriptions.data(), kSample, 0, false); }) /
           static_cast<double>(kSample);
  };
}

// Gives malloc enough for a bench's pictures, so that the system's way of handing out new memory is not measured.
void TouchMemory() {
  std::vector<char> memory((kRounds + 1) * kSample * 240 * 180 * 3, 1);
  benchmark::DoNotOptimize(memory.data());
}

// How many thumbnails stand behind those that fill a map, to be asked for in turn: more than a small map holds.
constexpr std::size_t kBehind = 2 * kFew;

// A map of `count` ready entries at its limit: each thumbnail evicts the one used longest ago.
CSideProcess::Round FullMap(const std::string& file, std::size_t count) {
  auto side = std::make_shared<SSide>(file);
  side->cache->SetCacheLimit(static_cast<std::uint32_t>(count));
  const auto all = DescribeFirst(count);
  side->cache->RequestThumbnails(0, all.data(), static_cast<std::uint32_t>(count), 0, false);
  side->descriptions = DescribeFirst(count + kBehind);
  TouchMemory();
  return [side, count, turn = std::size_t{0}]() mutable {
    const std::size_t first = count + turn * kSample % kBehind;
    ++turn;
    return SecondsOf([&] { side->cache->RequestThumbnails(0, &side->descriptions[first], kSample, 0, false); }) /
           static_cast<double>(kSample);
  };
}

// The maps are filled with small pictures, or they would take 13 GB; `stream` is what is then asked for.
void Map(benchmark::State& state, const std::vector<unsigned char>& stream, const SLimit& limit) {
  CTempFolder folder;
  const std::string file = folder.File("cache.db");
  MakeDatabase(file);
  const auto filling = MakeJpeg(8, 8);
  FillRows(file, 0, kFew, filling, false);
  FillRows(file, kFew, kFew + kBehind, stream, false);
  FillRows(file, kFew + kBehind, kMany, filling, false);
  FillRows(file, kMany, kMany + kBehind, stream, false);
  CSideProcess few([&] { return FullMap(file, kFew); });
  CSideProcess many([&] { return FullMap(file, kMany); });
  RunSides(state, many, few, limit);
}
void UsualInMap(benchmark::State& state) { Map(state, MakeJpeg(240, 180), kLimit); }
// With nearly nothing to decode, what is left is the map and the reading of the row.
void SmallInMap(benchmark::State& state) { Map(state, MakeJpeg(8, 8), kNoLimit); }

// Queues `count` requests at once and waits for the workers to finish them; as often as makes up the same number.
class CQueueSide {
 public:
  CQueueSide(const std::string& file, std::size_t count) : m_cache(file), m_count(count) {
    m_descriptions = DescribeFirst(kMany);
    m_cache->SetCacheLimit(kMany + 1);
    m_cache->AddListener(
        [](void* context, const wchar_t*) {
          auto* self = static_cast<CQueueSide*>(context);
          if (++self->m_finished == self->m_wanted) self->m_finished.notify_one();
        },
        this);
  }
  double Round() {
    double seconds = 0;
    constexpr std::size_t kThumbnails = 20000;
    const std::size_t repeats = m_count < kThumbnails ? kThumbnails / m_count : 1;
    for (std::size_t i = 0; i < repeats; ++i) {
      m_cache->PurgeUnusedThumbnails();
      seconds += SecondsOf([&] { RequestAndWait(&m_descriptions[i * m_count]); });
    }
    return seconds / static_cast<double>(repeats * m_count);
  }

 private:
  void RequestAndWait(const SQvThumbnailDescription* descriptions) {
    m_wanted += m_count;
    // A call wakes one worker.
    m_cache->RequestThumbnails(0, descriptions, 1, 0, true);
    m_cache->RequestThumbnails(0, descriptions + 1, static_cast<std::uint32_t>(m_count - 1), 0, true);
    for (std::size_t now = m_finished; now != m_wanted; now = m_finished) m_finished.wait(now);
  }

  COpenCache m_cache;
  const std::size_t m_count;
  std::vector<SQvThumbnailDescription> m_descriptions;
  std::atomic<std::size_t> m_finished{0}, m_wanted{0};
};

void Queue(benchmark::State& state) {
  CTempFolder folder;
  MakeDatabase(folder.File("cache.db"));
  FillRows(folder.File("cache.db"), 0, kMany, MakeJpeg(8, 8), false);
  const auto side = [&](std::size_t count) {
    return [&folder, count]() -> CSideProcess::Round {
      auto queue = std::make_shared<CQueueSide>(folder.File("cache.db"), count);
      return [queue] { return queue->Round(); };
    };
  };
  CSideProcess few(side(kFew)), many(side(kMany));
  RunSides(state, many, few);
}

// Thumbnails of the usual size, spread over the rows, read from them.
CSideProcess::Round ReadRows(const std::string& file, std::size_t count) {
  auto side = std::make_shared<SSide>(file);
  side->cache->SetCacheLimit(0);
  for (const std::size_t i : Spread(count, kSample, 1)) side->descriptions.push_back(Describe(LocationOf(i)));
  return ReadSample(side);
}

// Thumbnails made from small new files, and their rows written.
CSideProcess::Round MakeNew(const std::string& file, const std::string& picture) {
  auto cache = std::make_shared<COpenCache>(file);
  return [cache, picture, number = 0]() mutable {
    std::vector<SQvThumbnailDescription> descriptions;
    for (std::size_t i = 0; i < kSample; ++i) {
      // Names that fall all over the index.
      const unsigned place = static_cast<unsigned>(++number) * 2654435761u;
      const std::string name = picture + "-" + std::to_string(place) + "-" + std::to_string(getpid());
      std::filesystem::create_hard_link(picture, name);
      descriptions.push_back(Describe(CQvStringUtils::UTF8toW(name).Str()));
    }
    return SecondsOf([&] { (*cache)->RequestThumbnails(0, descriptions.data(), kSample, 0, false); }) /
           static_cast<double>(kSample);
  };
}

struct SRows {
  SRows() {
    MakeCollection(folder.File("few.db"), kFew, true);
    MakeCollection(folder.File("many.db"), kManyRows, true);
  }
  CTempFolder folder;
};

void Rows(benchmark::State& state) {
  const SRows rows;
  CSideProcess few([&] { return ReadRows(rows.folder.File("few.db"), kFew); });
  CSideProcess many([&] { return ReadRows(rows.folder.File("many.db"), kManyRows); });
  RunSides(state, many, few);
}

void NewRows(benchmark::State& state) {
  const SRows rows;
  const std::string picture = rows.folder.File("picture.jpg");
  WriteFile(picture, MakeJpeg(1024, 768));
  CSideProcess few([&] { return MakeNew(rows.folder.File("few.db"), picture); });
  CSideProcess many([&] { return MakeNew(rows.folder.File("many.db"), picture); });
  RunSides(state, many, few);
}

BENCHMARK(UsualInMap)->Name("growth, 100,000 entries in the map")->Iterations(kRounds)->UseManualTime();
BENCHMARK(SmallInMap)->Name("growth, 100,000 entries, pictures of 8 x 8")->Iterations(kRounds)->UseManualTime();
BENCHMARK(Queue)->Name("growth, 100,000 requests in the queue")->Iterations(kRounds)->UseManualTime();
BENCHMARK(Rows)->Name("growth, 1,000,000 rows, row to picture")->Iterations(kRounds)->UseManualTime();
BENCHMARK(NewRows)->Name("growth, 1,000,000 rows, new thumbnail")->Iterations(kRounds)->UseManualTime();

}  // namespace
