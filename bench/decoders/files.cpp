#include "bench/decoders/files.h"

#include <algorithm>
#include <fstream>
#include <stdexcept>

#include <fmt/format.h>
#include <tiff.h>

#include "bench/decoders/pictures.h"
#include "tools/samples/jpeg_encoder.h"
#include "tools/samples/png_encoder.h"
#include "tools/samples/tiff_writer.h"

namespace {

namespace fs = std::filesystem;

const std::vector<SBox> kBoxes = {{480, 180}, {640, 240}};
const std::vector<SBox> kFirstBox = {kBoxes.front()};

struct SSide {
  const char* name;
  int width, height;
};
constexpr SSide kVga{"640x480", 640, 480}, kTwoMega{"2 MP", 1600, 1200}, kTwelveMega{"12 MP", 4000, 3000},
    kFortyEightMega{"48 MP", 8000, 6000}, kSmall{"256x256", 256, 256}, kOneMega{"1 MP", 1024, 1024},
    kFourMega{"4 MP", 2000, 2000}, kSlide{"100 MP", 10000, 10000};

constexpr EContent kContents[] = {EContent::kQuiet, EContent::kNatural, EContent::kNoisy};

const char* NameOf(EContent content) {
  return content == EContent::kQuiet ? "quiet" : content == EContent::kNatural ? "natural" : "noisy";
}

void Save(const fs::path& path, const CBytes& bytes) {
  std::ofstream file(path, std::ios::binary);
  file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  file.close();
  if (!file) throw std::runtime_error("cannot write " + path.string());
}

SFile JpegFile(const SSide& side, EContent content, const SJpegOptions& options) {
  const std::string kind = fmt::format("{}, {}", options.fullColor ? "4:4:4" : "4:2:0", options.quality);
  return {fmt::format("{}, {}, {}{}", side.name, kind, NameOf(content), options.restartRows != 0 ? ", restarts" : ""),
          kind,
          [=](const fs::path& path) { Save(path, EncodeJpeg(MakePicture(content, side.width, side.height), options)); },
          kBoxes};
}

SFile GreyJpegFile(const SSide& side, EContent content) {
  return {fmt::format("{}, grey, 75, {}", side.name, NameOf(content)), "grey, 75",
          [=](const fs::path& path) {
            SJpegOptions options;
            options.quality = 75;
            Save(path, EncodeGreyJpeg(GreyOf(MakePicture(content, side.width, side.height)), side.width, side.height,
                                      options));
          },
          kBoxes};
}

std::vector<SFile> BaselineFiles() {
  std::vector<SFile> files;
  for (const SSide& side : {kVga, kTwoMega, kTwelveMega, kFortyEightMega}) {
    for (const EContent content : kContents) {
      for (const bool fullColor : {false, true}) {
        for (const int quality : {75, 95}) {
          for (const int restartRows : {0, 1}) {
            SJpegOptions options;
            options.quality = quality;
            options.fullColor = fullColor;
            options.restartRows = restartRows;
            files.push_back(JpegFile(side, content, options));
          }
        }
      }
      files.push_back(GreyJpegFile(side, content));
    }
  }
  return files;
}

std::vector<SFile> ProgressiveFiles() {
  std::vector<SFile> files;
  for (const EContent content : kContents) {
    for (const bool fullColor : {false, true}) {
      for (const int quality : {75, 95}) {
        SJpegOptions options;
        options.progressive = true;
        options.quality = quality;
        options.fullColor = fullColor;
        files.push_back(JpegFile(kTwelveMega, content, options));
      }
    }
  }
  return files;
}

void WriteTiff(const fs::path& path, const STiffPage& page) {
  CTiffWriter file(path);
  file.Write(page);
  file.Close();
}

SFile TiffJpegFile(const SSide& side, int tileSize, EContent content, int quality) {
  const std::string kind = fmt::format("tiles of {}, {}", tileSize, quality);
  return {fmt::format("{}, {}, {}", side.name, kind, NameOf(content)), kind,
          [=](const fs::path& path) {
            const SRgbImage image = MakePicture(content, side.width, side.height);
            STiffPage page = PageOf(image);
            page.compression = COMPRESSION_JPEG;
            page.jpegQuality = quality;
            page.tileSize = tileSize;
            WriteTiff(path, page);
          },
          kBoxes};
}

std::vector<SFile> TiffJpegFiles() {
  std::vector<SFile> files;
  for (const EContent content : kContents) {
    for (const int quality : {75, 95}) {
      files.push_back(TiffJpegFile(kSlide, 256, content, quality));
      files.push_back(TiffJpegFile(kSlide, 512, content, quality));
    }
  }
  return files;
}

SFile TiffLzwFile(const SSide& side, int tileSize, int predictor, EContent content) {
  return {fmt::format("{}, {}, {}, {}", side.name,
                      tileSize != 0 ? fmt::format("tiles of {}", tileSize) : "strips of 16 rows",
                      predictor == 2 ? "differences" : "as they are", NameOf(content)),
          NameOf(content),
          [=](const fs::path& path) {
            const SRgbImage image = MakePicture(content, side.width, side.height);
            STiffPage page = PageOf(image);
            page.compression = COMPRESSION_LZW;
            page.predictor = predictor;
            page.tileSize = tileSize;
            page.rowsPerStrip = 16;
            WriteTiff(path, page);
          },
          kFirstBox};
}

std::vector<SFile> TiffLzwFiles() {
  std::vector<SFile> files;
  for (const EContent content : kContents) {
    for (const int predictor : {1, 2}) {
      files.push_back(TiffLzwFile(kTwelveMega, 0, predictor, content));
      files.push_back(TiffLzwFile(kTwelveMega, 256, predictor, content));
    }
  }
  return files;
}

struct SPngKind {
  const char* name;
  EPngColor color;
  int bits;
};
constexpr SPngKind kPngKinds[] = {{"grey", EPngColor::kGrey, 8},
                                  {"RGB", EPngColor::kRgb, 8},
                                  {"RGBA", EPngColor::kRgba, 8},
                                  {"16-bit grey", EPngColor::kGrey, 16}};

CBytes PngSamples(const SSide& side, const SPngKind& kind, EContent content) {
  if (kind.bits == 16) return MakeCounts(content, side.width, side.height);
  SRgbImage image = MakePicture(content, side.width, side.height);
  if (kind.color == EPngColor::kGrey) return GreyOf(image);
  return kind.color == EPngColor::kRgba ? RgbaOf(image) : std::move(image.pixels);
}

SFile PngFile(const SSide& side, const SPngKind& kind, EContent content, bool filtered) {
  const char* const how = filtered ? "" : ", unfiltered";
  return {fmt::format("{}, {}, {}{}", side.name, kind.name, NameOf(content), how), fmt::format("{}{}", kind.name, how),
          [=](const fs::path& path) {
            SPngImage image;
            image.width = side.width;
            image.height = side.height;
            image.color = kind.color;
            image.bits = kind.bits;
            image.filtered = filtered;
            image.samples = PngSamples(side, kind, content);
            Save(path, EncodePng(image));
          },
          kFirstBox};
}

std::vector<SFile> PngFiles() {
  std::vector<SFile> files;
  for (const SSide& side : {kSmall, kOneMega, kFourMega, kTwelveMega}) {
    for (const SPngKind& kind : kPngKinds) {
      for (const EContent content : kContents) {
        for (const bool filtered : {true, false}) files.push_back(PngFile(side, kind, content, filtered));
      }
    }
  }
  return files;
}

// Smaller ones hold hardly more than a header.
constexpr std::uintmax_t kLeastSample = 4096;

// The files in a folder of that extension.
void AddSamples(const fs::path& folder, const std::string& extension, const std::vector<SBox>& boxes, SGroup* group) {
  if (!fs::is_directory(folder)) return;
  std::vector<fs::path> paths;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    if (entry.is_regular_file() && entry.path().extension() == extension && entry.file_size() >= kLeastSample)
      paths.push_back(entry.path());
  }
  std::ranges::sort(paths);
  for (const fs::path& path : paths) {
    group->files.push_back(
        {path.filename().string(), "samples", [=](const fs::path& to) { fs::copy_file(path, to); }, boxes});
  }
}

}  // namespace

std::vector<SGroup> MakeGroups(const fs::path& samples) {
  std::vector<SGroup> groups = {{"JPEG, baseline", JpegDecoders, BaselineFiles()},
                                {"JPEG, progressive", JpegDecoders, ProgressiveFiles()},
                                {"TIFF of JPEG tiles", TiffJpegDecoders, TiffJpegFiles()},
                                {"TIFF of LZW", TiffLzwDecoders, TiffLzwFiles()},
                                {"PNG", PngDecoders, PngFiles()}};
  if (samples.empty()) return groups;
  AddSamples(samples / "jpeg", ".jpg", kBoxes, &groups.front());
  AddSamples(samples / "png", ".png", kFirstBox, &groups.back());
  return groups;
}
