// Makes the honest files that need the most processor time for their size, decodes each once, and prints what it took
// of the time that it may.
//   qvbench-limits FOLDER [SIDE [TEXT]]
//     FOLDER  where the files are made, one at a time
//     SIDE    of the pictures, in pixels (32768: a gigapixel)
//     TEXT    only the files whose names contain it

#include <fmt/format.h>
#include <time.h>

#include <chrono>
#include <cstdlib>
#include <exception>

#include "bench/limits/files.h"
#include "picture/qvpicture.h"
#include "platform/imageformats/base/new_picture.h"
#include "platform/imageformats/component/codec_registry.h"

namespace {

namespace fs = std::filesystem;
using namespace imageformats;

double ThreadSeconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

struct SResult {
  double seconds = 0, allowed = 0;
};

SResult Decode(const fs::path& path) {
  const double start = ThreadSeconds();
  const auto input = CInput::FromFile(CQvStringUtils::UTF8toW(path.c_str()));
  const CCodecModule* codec = FindCodecFor(*input);
  if (codec == nullptr) throw CDamagedError("no codec");
  const std::unique_ptr<COpenedImage> image = codec->Open(input);
  SRenderLimits limits = LimitsOf(*image);
  SResult result;
  result.allowed = std::chrono::duration<double>(limits.time).count();
  limits.time = std::chrono::hours(1);
  CRenderGuard guard(limits);
  CQvPicture picture = NewPicture(180, 180, 8, 3);
  SRenderRequest request;
  request.width = request.height = 180;
  image->Render(request, *picture.Get(), guard);
  result.seconds = ThreadSeconds() - start;
  return result;
}

void Report(const SHonestFile& file, const fs::path& path) {
  file.write(path);
  const auto bytes = static_cast<double>(fs::file_size(path));
  try {
    const SResult result = Decode(path);
    fmt::print("| {} | {:.2f} | {:.2f} | {:.2f} | {:.1f} |\n", file.name, bytes / 1e6, result.seconds, result.allowed,
               result.allowed / result.seconds);
  } catch (const CFormatError& failure) {
    fmt::print("| {} | {:.2f} | {} | | |\n", file.name, bytes / 1e6, failure.what());
  }
  std::fflush(stdout);
  fs::remove(path);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    fmt::print(stderr, "usage: qvbench-limits FOLDER [SIDE [TEXT]]\n");
    return 2;
  }
  const auto side = static_cast<std::uint32_t>(argc > 2 ? std::atoi(argv[2]) : 32768);
  const std::string only = argc > 3 ? argv[3] : "";
  try {
    fmt::print("| file | MB | takes (s) | may take (s) | factor |\n|---|---|---|---|---|\n");
    for (const SHonestFile& file : HonestFiles(side)) {
      if (file.name.find(only) != std::string::npos) Report(file, fs::path(argv[1]) / "honest");
    }
  } catch (const std::exception& failure) {
    fmt::print(stderr, "qvbench-limits: {}\n", failure.what());
    return 1;
  }
  return 0;
}
