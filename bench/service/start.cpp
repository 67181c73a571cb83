// Opening a large database against an empty one, and loading the component's library.

#include <cstdio>
#include <filesystem>

#include "bench/service/support/cache.h"
#include "bench/service/support/detailed_picture.h"
#include "bench/service/support/paired.h"
#include "system/qvrtti.h"
#include "tests/support/temp_folder.h"

namespace {

using namespace qvbench;

constexpr std::size_t kRows = 1000000;
constexpr int kRounds = 15;

double SecondsToOpen(IQvThumbnailCache& cache, const std::string& file) {
  const CQvStringW path = CQvStringUtils::UTF8toW(file);
  const double seconds = SecondsOf([&] {
    if (cache.OpenDatabase(path.c_str()) != 0) Fail("cannot open " + file);
  });
  cache.CloseDatabase();
  return seconds;
}

void OpenLargeDatabase(benchmark::State& state) {
  const qvtest::CTempFolder folder;
  const std::string empty = folder.Path("empty.db"), large = folder.Path("large.db");
  MakeDatabase(empty);
  MakeDatabase(large);
  FillRows(large, 0, kRows, MakeJpeg(8, 8), true);
  // The second opening of the service closes the first.
  const COpenCache cache(empty);
  CPairedRounds rounds(state, 1, {EMeasure::MillisecondsAtMost, 5});
  for ([[maybe_unused]] auto _ : state) {
    const double emptyTime = SecondsToOpen(*cache, empty);
    rounds.Add(SecondsToOpen(*cache, large), emptyTime);
  }
}

// In a fresh process each time, which reports how long dlopen took.
double SecondsToLoad(const std::string& library) {
  const auto self = std::filesystem::canonical("/proc/self/exe").parent_path();
  const std::string command = (self / "bench_load").string().append(" '").append(library).append("'");
  FILE* output = popen(command.c_str(), "r");
  double seconds = 0;
  if (!output || std::fscanf(output, "%lf", &seconds) != 1) Fail("cannot run " + command);
  if (pclose(output) != 0) Fail(command + " failed");
  return seconds;
}

// The bare side is a library that is loaded already.
void LoadComponent(benchmark::State& state) {
  const std::string folder = CQvStringUtils::WtoUTF8(CQvRTTI::GetLibraryFolder()).Str();
  CPairedRounds rounds(state, 1, {EMeasure::MillisecondsAtMost, 10});
  for ([[maybe_unused]] auto _ : state) {
    const double nothing = SecondsToLoad("libc.so.6");
    rounds.Add(SecondsToLoad(folder + "/libgnr_thumbnailcache.so"), nothing);
  }
}

BENCHMARK(OpenLargeDatabase)->Name("start, opening 1,000,000 rows against none")->Iterations(kRounds)->UseManualTime();
BENCHMARK(LoadComponent)->Name("start, loading the component")->Iterations(kRounds)->UseManualTime();

}  // namespace
