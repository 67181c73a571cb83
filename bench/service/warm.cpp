// From a row to a picture: synchronous requests for thumbnails that the database has, against a bare SELECT (prepared
// per call) and libjpeg.

#include <atomic>
#include <filesystem>
#include <functional>
#include <memory>
#include <thread>

#include "bench/service/support/cache.h"
#include "bench/service/support/paired.h"

namespace {

using namespace qvbench;

constexpr std::size_t kRows = 64;
constexpr int kRounds = 15;
constexpr unsigned kWidth = 240, kHeight = 180;  // a 4:3 picture in the standard box

// A database of thumbnails, the service on it with nothing in memory, and a bare connection.
class CScene {
 public:
  CScene() : m_descriptions(DescribeFirst(kRows)) {
    MakeDatabase(File());
    FillRows(File(), 0, kRows, MakeJpeg(kWidth, kHeight), false);
    for (std::size_t i = 0; i < kRows; ++i) m_names.push_back(RowNameOf(i));
    m_cache = std::make_unique<COpenCache>(File());
    (*m_cache)->SetCacheLimit(0);
    m_bare = std::make_unique<CBareDatabase>(File());
  }

  std::string File() const { return m_folder.File("cache.db"); }
  std::string File(const std::string& name) const { return m_folder.File(name); }
  IQvThumbnailCache& Cache() { return **m_cache; }
  sqlite3* Bare() { return m_bare->Get(); }

  // Each request evicts what was read before, so all of them read.
  void ReadOurs(std::size_t first, std::size_t count) {
    Cache().RequestThumbnails(0, &m_descriptions[first], static_cast<std::uint32_t>(count), 0, false);
  }
  void ReadBare(std::size_t first, std::size_t count) {
    for (std::size_t i = first; i < first + count; ++i) ReadBareRow(m_names[i]);
  }
  // That the last one was really read.
  void Check(std::size_t row) {
    std::uint32_t state = 0;
    SQvPicBuf picture{};
    Cache().GetCachedThumbnail(1, m_descriptions[row], &state, &picture);
    if (state != kQvThumbnailReady || picture.width != kWidth) GiveUp("a thumbnail was not read");
    Cache().ReleaseThumbnail(1, m_descriptions[row]);
  }

 private:
  void ReadBareRow(const std::string& name) {
    std::vector<unsigned char> stream;
    {
      CBareStatement select(m_bare->Get(),
                            "SELECT lastWritten, binData, quality FROM cache WHERE filename = :FN AND flags = :FL");
      select.Text(1, name).Int(2, 0);
      if (!select.Row()) GiveUp("a row is missing");
      const auto* bytes = static_cast<const unsigned char*>(sqlite3_column_blob(select.Get(), 1));
      stream.assign(bytes, bytes + sqlite3_column_bytes(select.Get(), 1));
    }
    std::vector<unsigned char> pixels;
    DecodeJpeg(stream, &pixels);
  }

  CTempFolder m_folder;
  std::vector<SQvThumbnailDescription> m_descriptions;
  std::vector<std::string> m_names;
  std::unique_ptr<COpenCache> m_cache;
  std::unique_ptr<CBareDatabase> m_bare;
};

void Warm(benchmark::State& state) {
  CScene scene;
  RunPaired(
      state, kRows, {EValue::RatioAtMost, 1.15}, [&] { scene.ReadOurs(0, kRows); }, [&] { scene.ReadBare(0, kRows); });
  scene.Check(kRows - 1);
}

// One request a call, as a viewer does that wants a picture at once.
void WarmSingly(benchmark::State& state) {
  CScene scene;
  RunPaired(
      state, kRows, {EValue::RatioAtMost, 1.15},
      [&] {
        for (std::size_t i = 0; i < kRows; ++i) scene.ReadOurs(i, 1);
      },
      [&] { scene.ReadBare(0, kRows); });
}

// Two threads go through half of the rows each, often enough for the starting of the thread not to count.
constexpr std::size_t kHalf = kRows / 2;
constexpr int kPasses = 8;

void RunBoth(const std::function<void()>& a, const std::function<void()>& b) {
  std::thread thread(a);
  b();
  thread.join();
}

void WarmTwoThreads(benchmark::State& state) {
  CScene scene;
  const auto read = [&](std::size_t first, std::size_t count) {
    for (int i = 0; i < kPasses; ++i) scene.ReadOurs(first, count);
  };
  RunPaired(
      state, kPasses * kRows, {EValue::SpeedAtLeast, 1.6},
      [&] { RunBoth([&] { read(0, kHalf); }, [&] { read(kHalf, kHalf); }); }, [&] { read(0, kRows); });
}

// Each bare thread has a connection of its own.
void BareTwoThreads(benchmark::State& state) {
  CScene one, other;
  const auto read = [](CScene& scene, std::size_t first, std::size_t count) {
    for (int i = 0; i < kPasses; ++i) scene.ReadBare(first, count);
  };
  RunPaired(
      state, kPasses * kRows, kNoSpeedLimit,
      [&] { RunBoth([&] { read(one, 0, kHalf); }, [&] { read(other, kHalf, kHalf); }); }, [&] { read(one, 0, kRows); });
}

constexpr int kPicturesToWrite = 4;  // in a round

// Makes large pictures into thumbnails, over and over, as new files each time.
class CBusyWriter {
 public:
  explicit CBusyWriter(CScene& scene) : m_scene(scene) { WriteFile(Original(), MakeJpeg(6000, 4500)); }

  void WriteOurs() {
    for (int i = 0; i < kPicturesToWrite; ++i) {
      const std::string name = m_scene.File("picture" + std::to_string(m_number++) + ".jpg");
      std::filesystem::create_hard_link(Original(), name);
      const SQvThumbnailDescription description = Describe(CQvStringUtils::UTF8toW(name).Str());
      m_scene.Cache().RequestThumbnails(0, &description, 1, 0, false);
    }
  }

 private:
  std::string Original() const { return m_scene.File("original.jpg"); }

  CScene& m_scene;
  int m_number = 0;
};

// Reads one row after the other while `work` runs; the longest read.
double LongestReadBeside(CScene& scene, const std::function<void()>& work) {
  std::atomic<bool> done{false};
  std::thread worker([&] {
    work();
    done = true;
  });
  double longest = 0;
  for (std::size_t i = 0; !done; ++i) {
    const double seconds = SecondsOf([&] { scene.ReadOurs(i % kRows, 1); });
    longest = std::max(longest, seconds);
  }
  worker.join();
  return longest;
}

// The longest read beside a writer against the time that the writer takes for one thumbnail: a reader that waited for
// decoding or encoding would take as long.
void ReaderBesideWriter(benchmark::State& state) {
  CScene scene;
  CBusyWriter writer(scene);
  CPairedRounds rounds(state, 1, {EValue::SpeedAtLeast, 2});
  for ([[maybe_unused]] auto _ : state) {
    const double make = SecondsOf([&] { writer.WriteOurs(); }) / kPicturesToWrite;
    rounds.Add(LongestReadBeside(scene, [&] { writer.WriteOurs(); }), make);
  }
}

BENCHMARK(Warm)->Name("warm, row to picture")->Iterations(kRounds)->UseManualTime();
BENCHMARK(WarmSingly)->Name("warm, one request a call")->Iterations(kRounds)->UseManualTime();
BENCHMARK(WarmTwoThreads)->Name("warm, two threads against one")->Iterations(kRounds)->UseManualTime();
BENCHMARK(BareTwoThreads)->Name("the bare reads, two threads against one")->Iterations(kRounds)->UseManualTime();
BENCHMARK(ReaderBesideWriter)
    ->Name("the longest read beside a busy writer, against one thumbnail of the writer")
    ->Iterations(kRounds)
    ->UseManualTime();

}  // namespace
