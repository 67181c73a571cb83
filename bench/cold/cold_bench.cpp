// File to picture for each class of the corpus, one picture at a time, with the bare limit beside it.
//   cold_bench CORPUS [Google Benchmark's options]      CORPUS: the folder that qvbench-corpus printed

#include <benchmark/benchmark.h>

#include <cstdio>
#include <exception>
#include <filesystem>
#include <stdexcept>

#include "bench/cold/bare_limits.h"
#include "bench/corpus/classes.h"
#include "imageformats/iqvimageformatmanager.h"
#include "picture/qvpicture.h"
#include "system/qvref.h"
#include "tests/support/thumbnail_size.h"

namespace {

constexpr qvtest::SThumbnailSize kBox = {480, 180};

void Check(std::int32_t status, const char* what) {
  if (status != 0) throw std::runtime_error(what);
}

void Render(IQvImageFormatManager& manager, const CQvStringW& path) {
  CQvRef<IQvImageCodec> codec;
  Check(manager.GetCodecForFile(path, codec.Out()), "no codec");
  CQvRef<IQvPictureSource> source;
  Check(codec->OpenInputFile(path, source.Out()), "cannot open");
  SQvImageInfo info;
  Check(source->GetPictureInfo(&info), "no geometry");
  const auto [width, height] = qvtest::FitInto(kBox, info.width, info.height);
  CQvPicture picture;
  if (!picture.Reinit(width, height, 8, 3, false)) throw std::runtime_error("no memory");
  Check(source->RenderPicture(&width, &height, picture.Get(), 1, true, 0, 0, 0xFFFFFFFF), "cannot render");
  benchmark::DoNotOptimize(picture->data);
}

void RenderRepeatedly(benchmark::State& state, IQvImageFormatManager* manager, const std::string& path) {
  const CQvStringW location(std::wstring(path.begin(), path.end()).c_str());
  for ([[maybe_unused]] auto _ : state) Render(*manager, location);
}

// The level that covers the box, and the planes that a stack's overview shows.
constexpr int kPyramidLevel = 6, kMiddlePlane = 10, kChannels = 5;

std::uint64_t DecodeBare(std::string_view kind, const std::string& path) {
  if (kind.starts_with("jpeg")) return DecodeJpegAtEighth(path);
  if (kind == "png") return DecodePngRows(path);
  if (kind == "pyramid-chain") return DecodeTiff(path, kPyramidLevel, 1);
  if (kind == "pyramid-nested") return DecodeTiffSubDirectory(path, kPyramidLevel - 1);
  if (kind == "ome-five-channels") return DecodeTiff(path, kMiddlePlane * kChannels, kChannels);
  return DecodeTiff(path, 0, 1);
}

void DecodeRepeatedly(benchmark::State& state, std::string_view kind, const std::string& path) {
  for ([[maybe_unused]] auto _ : state) benchmark::DoNotOptimize(DecodeBare(kind, path));
}

void Register(IQvImageFormatManager* manager, const std::string& corpus) {
  for (const SCorpusClass& kind : CorpusClasses()) {
    const std::string name(kind.name), path = corpus + "/" + name + "/00." + std::string(kind.extension);
    if (!std::filesystem::exists(path)) continue;
    benchmark::RegisterBenchmark((name + "/picture").c_str(), RenderRepeatedly, manager, path)
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark((name + "/bare").c_str(), DecodeRepeatedly, kind.name, path)
        ->Unit(benchmark::kMillisecond);
  }
}

}  // namespace

int main(int argc, char** argv) try {
  benchmark::Initialize(&argc, argv);
  if (argc != 2) throw std::runtime_error("name the corpus folder");
  if (CQvRTTI::ScanFolder(CQvRTTI::GetLibraryFolder().c_str()) < 1) throw std::runtime_error("no components");
  const auto manager = QvCreate<IQvImageFormatManager>("CQvImageFormatManagerImpl", "IQvImageFormatManager",
                                                       SQvFileLine(__FILE__, __LINE__));
  if (!manager) throw std::runtime_error("no image formats");
  Register(manager.Get(), argv[1]);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "cold_bench: %s\n", error.what());
  return 1;
}
