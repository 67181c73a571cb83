// Makes pictures that are worth sharing among threads, renders each in turns with helpers and without, and prints the
// medians of the times and of their quotients; and that small ones cost no more.
//   qvbench-helpers FOLDER [ROUNDS [TEXT]]
//     FOLDER  where the files are made, one at a time (1 GB), and removed again
//     ROUNDS  pairs of renderings (15)
//     TEXT    only the files whose names contain it
// Under `taskset -c 0` both sides have one processor, and the quotient says what is lost.

#include <fmt/format.h>
#include <tiff.h>
#include <time.h>

#include <cstdlib>
#include <exception>
#include <filesystem>
#include <functional>

#include "bench/corpus/content.h"
#include "bench/median.h"
#include "picture/qvpicture.h"
#include "platform/imageformats/base/helper_threads.h"
#include "platform/imageformats/base/new_picture.h"
#include "platform/imageformats/component/codec_registry.h"
#include "tools/samples/tiff_writer.h"

namespace {

namespace fs = std::filesystem;
using namespace imageformats;

constexpr int kSlideSide = 10000, kTileSide = 256, kPlaneSide = 22500, kSmallSide = 500, kHorizontal = 2;
constexpr int kSmallPerRound = 100;

void WriteSlide(const fs::path& path, int compression, int side) {
  const SRgbImage image = MakeSlide(side);
  STiffPage page = PageOf(image);
  page.compression = compression;
  page.tileSize = kTileSide;
  if (compression != COMPRESSION_JPEG) page.predictor = kHorizontal;
  CTiffWriter file(path, ETiffKind::kBigTiff);
  file.Write(page);
  file.Close();
}

// Counts of cells, 1 GB in one plane.
void WritePlane(const fs::path& path) {
  constexpr int kCells = 2048;
  const std::vector<std::uint16_t> cells = MakeCells(kCells, 1);
  std::vector<std::uint16_t> counts;
  counts.reserve(std::size_t{kPlaneSide} * kPlaneSide);
  for (int y = 0; y < kPlaneSide; ++y) {
    for (int x = 0; x < kPlaneSide; ++x)
      counts.push_back(cells[std::size_t(y % kCells) * kCells + std::size_t(x % kCells)]);
  }
  CTiffWriter file(path, ETiffKind::kBigTiff);
  file.Write(PageOf(counts, kPlaneSide, kPlaneSide));
  file.Close();
}

struct SCase {
  std::string name;
  std::function<void(const fs::path&)> write;
  int timesPerRound = 1;
};

std::vector<SCase> Cases() {
  const auto slide = [](int compression, int side) {
    return [=](const fs::path& path) { WriteSlide(path, compression, side); };
  };
  return {{"tiled LZW, 10,000 x 10,000", slide(COMPRESSION_LZW, kSlideSide)},
          {"tiled Deflate, 10,000 x 10,000", slide(COMPRESSION_ADOBE_DEFLATE, kSlideSide)},
          {"tiled JPEG, 10,000 x 10,000", slide(COMPRESSION_JPEG, kSlideSide)},
          {"grey, 16 bits, a plane of 1 GB", WritePlane},
          {"tiled LZW, 500 x 500, 100 times", slide(COMPRESSION_LZW, kSmallSide), kSmallPerRound}};
}

double Milliseconds(clockid_t clock) {
  timespec time{};
  clock_gettime(clock, &time);
  return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) * 1e-6;
}

double MillisecondsToRender(const fs::path& path, int times, clockid_t clock) {
  const double start = Milliseconds(clock);
  for (int i = 0; i < times; ++i) {
    const auto input = CInput::FromFile(CQvStringUtils::UTF8toW(path.c_str()));
    const std::unique_ptr<COpenedImage> image = FindCodecFor(*input)->Open(input);
    CRenderGuard guard(LimitsOf(*image));
    CQvPicture picture = NewPicture(180, 180, 8, 3);
    SRenderRequest request;
    request.width = request.height = 180;
    request.fast = true;
    image->Render(request, *picture.Get(), guard);
  }
  return Milliseconds(clock) - start;
}

void Compare(const SCase& subject, const fs::path& path, int rounds, clockid_t clock) {
  subject.write(path);
  std::vector<double> alone, helped, gains;
  for (int round = -1; round < rounds; ++round) {
    SetProcessorsForTest(1);
    const double without = MillisecondsToRender(path, subject.timesPerRound, clock);
    SetProcessorsForTest(0);
    const double with = MillisecondsToRender(path, subject.timesPerRound, clock);
    if (round < 0) continue;  // fills the page cache
    alone.push_back(without);
    helped.push_back(with);
    gains.push_back(without / with);
  }
  fmt::print("| {} | {:.0f} | {:.0f} | {:.2f} |\n", subject.name, Median(alone), Median(helped), Median(gains));
  std::fflush(stdout);
  fs::remove(path);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    fmt::print(stderr, "usage: qvbench-helpers FOLDER [ROUNDS [TEXT]]\n");
    return 2;
  }
  const int rounds = argc > 2 ? std::atoi(argv[2]) : 15;
  const std::string only = argc > 3 ? argv[3] : "";
  // On one processor the process's own time: the scheduler gives others some of it, once a second even under chrt.
  const clockid_t clock = CHelperThreads::Available() == 0 ? CLOCK_PROCESS_CPUTIME_ID : CLOCK_MONOTONIC;
  try {
    fmt::print("| file | alone (ms) | helped (ms) | gain |\n|---|---|---|---|\n");
    for (const SCase& subject : Cases()) {
      if (subject.name.find(only) != std::string::npos) Compare(subject, fs::path(argv[1]) / "huge.tif", rounds, clock);
    }
  } catch (const std::exception& failure) {
    fmt::print(stderr, "qvbench-helpers: {}\n", failure.what());
    return 1;
  }
  return 0;
}
