// File to picture for each class of the corpus, one picture at a time, with the bare limit beside it.
//   cold_bench CORPUS [Google Benchmark's options]      CORPUS: the folder that qvbench-corpus printed

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <memory>
#include <stdexcept>

#include "bench/cold/bare_limits.h"
#include "bench/corpus/classes.h"
#include "imageformats/iqvimageformatmanager.h"
#include "system/qvrtti.h"

namespace {

constexpr std::uint32_t kBoxWidth = 480, kBoxHeight = 180;

struct SObjectRelease {
  void operator()(IQvInterface* object) const { CQvRTTI::Release(object); }
};
struct SSourceRelease {
  void operator()(IQvPictureSource* source) const { source->Release(); }
};

class CPicture {
 public:
  CPicture() { CQvPicBufAPI::Init(&m_picture); }
  ~CPicture() { CQvPicBufAPI::Free(&m_picture); }
  CPicture(const CPicture&) = delete;
  CPicture& operator=(const CPicture&) = delete;
  SQvPicBuf* Get() { return &m_picture; }

 private:
  SQvPicBuf m_picture;
};

void Check(std::int32_t status, const char* what) {
  if (status != 0) throw std::runtime_error(what);
}

void Render(IQvImageFormatManager& manager, const CQvStringW& path) {
  IQvImageCodec* codecPointer = nullptr;
  Check(manager.GetCodecForFile(path, &codecPointer), "no codec");
  const std::unique_ptr<IQvImageCodec, SObjectRelease> codec(codecPointer);
  IQvPictureSource* sourcePointer = nullptr;
  Check(codec->OpenInputFile(path, &sourcePointer), "cannot open");
  const std::unique_ptr<IQvPictureSource, SSourceRelease> source(sourcePointer);
  SQvImageInfo info;
  Check(source->GetPictureInfo(&info), "no geometry");
  const double scale = std::min(1.0 * kBoxWidth / info.width, 1.0 * kBoxHeight / info.height);
  const auto width = static_cast<std::uint32_t>(info.width * scale),
             height = static_cast<std::uint32_t>(info.height * scale);
  CPicture picture;
  Check(CQvPicBufAPI::Reinit(picture.Get(), width, height, 0, 8, 3, false), "no memory");
  Check(source->RenderPicture(&width, &height, picture.Get(), 1, true, 0, 0, 0xFFFFFFFF), "cannot render");
  benchmark::DoNotOptimize(picture.Get()->data);
}

void RenderForever(benchmark::State& state, IQvImageFormatManager* manager, const std::string& path) {
  const CQvStringW location(std::wstring(path.begin(), path.end()).c_str());
  for ([[maybe_unused]] const auto& iteration : state) Render(*manager, location);
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

void DecodeForever(benchmark::State& state, std::string_view kind, const std::string& path) {
  for ([[maybe_unused]] const auto& iteration : state) benchmark::DoNotOptimize(DecodeBare(kind, path));
}

void Register(IQvImageFormatManager* manager, const std::string& corpus) {
  for (const SCorpusClass& kind : CorpusClasses()) {
    const std::string name(kind.name), path = corpus + "/" + name + "/00." + std::string(kind.extension);
    if (!std::filesystem::exists(path)) continue;
    benchmark::RegisterBenchmark((name + "/picture").c_str(), RenderForever, manager, path)
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark((name + "/bare").c_str(), DecodeForever, kind.name, path)
        ->Unit(benchmark::kMillisecond);
  }
}

}  // namespace

int main(int argc, char** argv) try {
  benchmark::Initialize(&argc, argv);
  if (argc != 2) throw std::runtime_error("name the corpus folder");
  if (CQvRTTI::ScanFolder(CQvRTTI::GetLibraryFolder().c_str()) < 1) throw std::runtime_error("no components");
  auto* const manager = dynamic_cast<IQvImageFormatManager*>(
      CQvRTTI::CreateAndQuery("CQvImageFormatManagerImpl", "IQvImageFormatManager", SQvFileLine("no file")));
  if (manager == nullptr) throw std::runtime_error("no image formats");
  const std::unique_ptr<IQvImageFormatManager, SObjectRelease> owner(manager);
  Register(manager, argv[1]);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "cold_bench: %s\n", error.what());
  return 1;
}
