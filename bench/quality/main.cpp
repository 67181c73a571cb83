// Renders JPEG files of many sizes and compares them with the exact area average of all their pixels.
//   qvbench-jpeg-quality [WIDTH...]
//     WIDTH  of the pictures, which are 4 : 3 (default: 1500 to 12000, on both sides of where the decoding changes)
// For each width, by scene: PSNR in decibels and structural similarity; the last columns are processor times.

#include <fmt/format.h>
#include <time.h>

#include <cstdlib>
#include <exception>

#include "bench/quality/scenes.h"
#include "bench/quality/similarity.h"
#include "picture/qvpicture.h"
#include "platform/imageformats/base/new_picture.h"
#include "platform/imageformats/component/codec_registry.h"
#include "platform/imageformats/render/area_reducer.h"
#include "platform/imageformats/render/display.h"
#include "tools/samples/jpeg_encoder.h"

namespace {

using namespace imageformats;
using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t kBoxWidth = 480, kBoxHeight = 180;
constexpr int kRounds = 3;

double ThreadMilliseconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) * 1e-6;
}

Bytes PackedRows(const SQvPicBuf& picture) {
  Bytes rows;
  for (std::uint32_t y = 0; y < picture.height; ++y) {
    const auto* row = static_cast<const std::uint8_t*>(picture.data) + std::size_t{y} * picture.widthBytes;
    rows.insert(rows.end(), row, row + std::size_t{picture.width} * 3);
  }
  return rows;
}

CRenderGuard WideGuard() {
  SRenderLimits limits;
  limits.memory = std::uint64_t{4} << 30;
  limits.time = std::chrono::hours(1);
  return CRenderGuard(limits);
}

Bytes ExactAverage(COpenedImage& image, SSize wanted) {
  CRenderGuard guard = WideGuard();
  const SQvImageInfo& info = image.Info();
  CQvPicture full = NewPicture(info.width, info.height, 8, 3);
  image.Read(*full.Get(), guard);
  CAreaReducer reducer({info.width, info.height}, wanted, 3, ESampleType::kU8, guard);
  reducer.AddBand(0, 0, info.width, info.height, full.Get()->data, full.Get()->widthBytes);
  CQvPicture picture = NewPicture(wanted.width, wanted.height, 8, 3);
  DisplayAverages(reducer.Finish(), {}, *picture.Get());
  return PackedRows(*picture.Get());
}

struct SRendering {
  Bytes pixels;
  double milliseconds = 1e9;  // the least
};

SRendering Render(COpenedImage& image, SSize wanted, bool fast) {
  SRendering rendering;
  for (int round = 0; round < kRounds; ++round) {
    const double start = ThreadMilliseconds();
    CRenderGuard guard = WideGuard();
    CQvPicture picture = NewPicture(wanted.width, wanted.height, 8, 3);
    SRenderRequest request;
    request.width = wanted.width;
    request.height = wanted.height;
    request.fast = fast;
    image.Render(request, *picture.Get(), guard);
    rendering.milliseconds = std::min(rendering.milliseconds, ThreadMilliseconds() - start);
    rendering.pixels = PackedRows(*picture.Get());
  }
  return rendering;
}

SSize FitIntoBox(std::uint32_t width, std::uint32_t height) {
  const std::uint32_t fitted = height * kBoxWidth / width;
  return fitted <= kBoxHeight ? SSize{kBoxWidth, fitted} : SSize{width * kBoxHeight / height, kBoxHeight};
}

struct SKind {
  const char* name;
  bool fullColor, progressive;
};
constexpr SKind kKinds[] = {{"4:4:4", true, false}, {"4:2:0", false, false}, {"4:2:0 progressive", false, true}};

void Compare(const SScene& scene, const SKind& kind, int width) {
  SJpegOptions options;
  options.fullColor = kind.fullColor;
  options.progressive = kind.progressive;
  const CBytes file = EncodeJpeg(scene.make(width, width * 3 / 4), options);
  const auto input = CInput::FromMemory(file.data(), file.size());
  const std::unique_ptr<COpenedImage> image = FindCodecFor(*input)->Open(input);
  const SSize wanted = FitIntoBox(image->Info().width, image->Info().height);
  const Bytes exact = ExactAverage(*image, wanted);
  fmt::print("| {} | {} | {} | {:.2f}", scene.name, kind.name, width, 1.0 * width / wanted.width);
  for (const bool fast : {true, false}) {
    const SRendering rendering = Render(*image, wanted, fast);
    const int across = static_cast<int>(wanted.width), down = static_cast<int>(wanted.height);
    fmt::print(" | {:.1f} | {:.4f} | {:.1f}", PeakSignalToNoise(rendering.pixels, exact),
               StructuralSimilarity(rendering.pixels, exact, across, down), rendering.milliseconds);
  }
  fmt::print(" |\n");
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<int> widths;
  for (int i = 1; i < argc; ++i) widths.push_back(std::atoi(argv[i]));
  if (widths.empty()) widths = {1500, 1900, 1940, 2400, 3000, 3800, 3880, 4000, 5000, 6000, 7600, 7800, 9000, 12000};
  try {
    fmt::print("| scene | kind | width | reduction | standard: PSNR | SSIM | ms | high: PSNR | SSIM | ms |\n");
    fmt::print("|---|---|---|---|---|---|---|---|---|---|\n");
    for (const SScene& scene : Scenes()) {
      for (const SKind& kind : kKinds) {
        for (const int width : widths) Compare(scene, kind, width);
      }
    }
  } catch (const std::exception& failure) {
    fmt::print(stderr, "qvbench-jpeg-quality: {}\n", failure.what());
    return 1;
  }
  return 0;
}
