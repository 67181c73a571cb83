// From a row to a picture: synchronous requests for thumbnails that the database has, against a bare SELECT (prepared
// per call) and libjpeg.

#include <atomic>
#include <filesystem>
#include <functional>
#include <memory>
#include <thread>

#include "bench/service/support/cache.h"
#include "bench/service/support/detailed_picture.h"
#include "bench/service/support/paired.h"
#include "tests/support/decode_rgb.h"
#include "tests/support/file_bytes.h"
#include "tests/support/sql.h"
#include "tests/support/temp_folder.h"

namespace {

using namespace qvbench;
using qvtest::CSql;
using qvtest::CSqlStatement;

constexpr std::size_t kRows = 64;
constexpr int kRounds = 15;
constexpr unsigned kWidth = 240, kHeight = 180;  // a 4:3 picture in the standard box

// A database of thumbnails, the service on it with nothing in memory, and a bare connection.
class CStoredThumbnails {
 public:
  CStoredThumbnails() : m_descriptions(DescribeFirst(kRows)) {
    MakeDatabase(DatabaseFile());
    FillRows(DatabaseFile(), 0, kRows, MakeJpeg(kWidth, kHeight), false);
    for (std::size_t i = 0; i < kRows; ++i) m_names.push_back(RowNameOf(i));
    m_cache = std::make_unique<COpenCache>(DatabaseFile());
    (*m_cache)->SetCacheLimit(0);
    m_bare = std::make_unique<CSql>(DatabaseFile());
  }

  std::string DatabaseFile() const { return m_folder.Path("cache.db"); }
  const qvtest::CTempFolder& Folder() const { return m_folder; }
  IQvThumbnailCache& Cache() { return **m_cache; }
  const std::vector<SQvThumbnailDescription>& Descriptions() const { return m_descriptions; }

  // Each request evicts what was read before, so all of them read.
  void ReadThroughService(std::size_t first, std::size_t count) {
    Cache().RequestThumbnails(0, &m_descriptions[first], static_cast<std::uint32_t>(count), 0, false);
  }
  void ReadDirectly(std::size_t first, std::size_t count) {
    for (std::size_t i = first; i < first + count; ++i) ReadRowDirectly(m_names[i]);
  }
  // Gives up unless the row was really read.
  void CheckWasRead(std::size_t row) {
    std::uint32_t state = 0;
    SQvPicBuf picture{};
    Cache().GetCachedThumbnail(1, m_descriptions[row], &state, &picture);
    if (state != kQvThumbnailReady || picture.width != kWidth) Fail("a thumbnail was not read");
    Cache().ReleaseThumbnail(1, m_descriptions[row]);
  }

 private:
  void ReadRowDirectly(const std::string& name) {
    qvtest::SFileBytes stream;
    {
      CSqlStatement select(*m_bare,
                           "SELECT lastWritten, binData, quality FROM cache WHERE filename = :FN AND flags = :FL");
      select.Text(1, name).Int(2, 0);
      if (!select.Row()) Fail("a row is missing");
      stream = select.BlobAt(1);
    }
    benchmark::DoNotOptimize(qvtest::DecodeJpeg(stream));
  }

  qvtest::CTempFolder m_folder;
  std::vector<SQvThumbnailDescription> m_descriptions;
  std::vector<std::string> m_names;
  std::unique_ptr<COpenCache> m_cache;
  std::unique_ptr<CSql> m_bare;
};

void ReadRows(benchmark::State& state) {
  CStoredThumbnails stored;
  RunPaired(
      state, kRows, {EMeasure::RatioAtMost, 1.15}, [&] { stored.ReadThroughService(0, kRows); },
      [&] { stored.ReadDirectly(0, kRows); });
  stored.CheckWasRead(kRows - 1);
}

// One request a call, as a viewer does that wants a picture at once.
void ReadRowsSingly(benchmark::State& state) {
  CStoredThumbnails stored;
  RunPaired(
      state, kRows, {EMeasure::RatioAtMost, 1.15},
      [&] {
        for (std::size_t i = 0; i < kRows; ++i) stored.ReadThroughService(i, 1);
      },
      [&] { stored.ReadDirectly(0, kRows); });
}

// Two threads go through half of the rows each, often enough for the starting of the thread not to count.
constexpr std::size_t kHalfOfRows = kRows / 2;
constexpr int kRepeats = 8;

void RunConcurrently(const std::function<void()>& a, const std::function<void()>& b) {
  std::thread thread(a);
  b();
  thread.join();
}

void ReadRowsOnTwoThreads(benchmark::State& state) {
  CStoredThumbnails stored;
  const auto read = [&](std::size_t first, std::size_t count) {
    for (int i = 0; i < kRepeats; ++i) stored.ReadThroughService(first, count);
  };
  RunPaired(
      state, kRepeats * kRows, {EMeasure::SpeedAtLeast, 1.6},
      [&] { RunConcurrently([&] { read(0, kHalfOfRows); }, [&] { read(kHalfOfRows, kHalfOfRows); }); },
      [&] { read(0, kRows); });
}

// A list in one call keeps both workers busy.
void QueueRows(benchmark::State& state) {
  CStoredThumbnails stored;
  CQueuedRequests requests(stored.Cache());
  RunPaired(
      state, kRepeats * kRows, {EMeasure::SpeedAtLeast, 1.6},
      [&] {
        for (int i = 0; i < kRepeats; ++i) {
          stored.Cache().PurgeUnusedThumbnails();
          requests.MakeAll(stored.Descriptions());
        }
      },
      [&] {
        for (int i = 0; i < kRepeats; ++i) stored.ReadThroughService(0, kRows);
      });
}

// Each bare thread has a connection of its own.
void ReadDirectlyOnTwoThreads(benchmark::State& state) {
  CStoredThumbnails one, other;
  const auto read = [](CStoredThumbnails& stored, std::size_t first, std::size_t count) {
    for (int i = 0; i < kRepeats; ++i) stored.ReadDirectly(first, count);
  };
  RunPaired(
      state, kRepeats * kRows, kNoSpeedLimit,
      [&] { RunConcurrently([&] { read(one, 0, kHalfOfRows); }, [&] { read(other, kHalfOfRows, kHalfOfRows); }); },
      [&] { read(one, 0, kRows); });
}

constexpr int kPicturesPerRound = 4;

// Makes large pictures into thumbnails, over and over, as new files each time.
class CThumbnailWriter {
 public:
  explicit CThumbnailWriter(CStoredThumbnails& stored) : m_stored(stored) {
    qvtest::WriteFile(Original(), MakeJpeg(6000, 4500));
  }

  void MakeThumbnails() {
    for (int i = 0; i < kPicturesPerRound; ++i) {
      const std::string name = m_stored.Folder().Path("picture" + std::to_string(m_number++) + ".jpg");
      std::filesystem::create_hard_link(Original(), name);
      const SQvThumbnailDescription description = Describe(CQvStringUtils::UTF8toW(name).Str());
      m_stored.Cache().RequestThumbnails(0, &description, 1, 0, false);
    }
  }

 private:
  std::string Original() const { return m_stored.Folder().Path("original.jpg"); }

  CStoredThumbnails& m_stored;
  int m_number = 0;
};

// Reads one row after the other while `work` runs; the longest read.
double LongestReadBeside(CStoredThumbnails& stored, const std::function<void()>& work) {
  std::atomic<bool> done{false};
  std::thread worker([&] {
    work();
    done = true;
  });
  double longest = 0;
  for (std::size_t i = 0; !done; ++i) {
    const double seconds = SecondsOf([&] { stored.ReadThroughService(i % kRows, 1); });
    longest = std::max(longest, seconds);
  }
  worker.join();
  return longest;
}

// The longest read beside a writer against the time that the writer takes for one thumbnail: a reader that waited for
// decoding or encoding would take as long.
void ReadBesideWriter(benchmark::State& state) {
  CStoredThumbnails stored;
  CThumbnailWriter writer(stored);
  CPairedRounds rounds(state, 1, {EMeasure::SpeedAtLeast, 2});
  for ([[maybe_unused]] auto _ : state) {
    const double make = SecondsOf([&] { writer.MakeThumbnails(); }) / kPicturesPerRound;
    rounds.Add(LongestReadBeside(stored, [&] { writer.MakeThumbnails(); }), make);
  }
}

BENCHMARK(ReadRows)->Name("warm, row to picture")->Iterations(kRounds)->UseManualTime();
BENCHMARK(ReadRowsSingly)->Name("warm, one request a call")->Iterations(kRounds)->UseManualTime();
BENCHMARK(ReadRowsOnTwoThreads)->Name("warm, two threads against one")->Iterations(kRounds)->UseManualTime();
BENCHMARK(QueueRows)->Name("warm, a list in one call against one thread")->Iterations(kRounds)->UseManualTime();
BENCHMARK(ReadDirectlyOnTwoThreads)
    ->Name("the bare reads, two threads against one")
    ->Iterations(kRounds)
    ->UseManualTime();
BENCHMARK(ReadBesideWriter)
    ->Name("the longest read beside a busy writer, against one thumbnail of the writer")
    ->Iterations(kRounds)
    ->UseManualTime();

}  // namespace
