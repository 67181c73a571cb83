#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>
#include <string>

#include "platform/imageformats/common/codec_registry.h"
#include "system/qvstatus.h"
#include "tests/imageformats/support/opened.h"
#include "tests/imageformats/support/scratch_folder.h"

// Real files, where they are there. How the pictures look was judged by eye; here they must only be made.

namespace imageformats {
namespace {

std::vector<std::filesystem::path> Files(const std::string& folder) {
  std::vector<std::filesystem::path> files;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
    if (entry.is_regular_file()) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

// 0, -3 or -9, and the rendered picture.
std::int32_t Outcome(const std::filesystem::path& path, TestPicture* shown) {
  try {
    const auto image = OpenPath(CQvStringUtils::UTF8toW(path.c_str()));
    const SQvImageInfo& info = image->Info();
    std::uint32_t width = 480, height = static_cast<std::uint32_t>(std::uint64_t{info.height} * 480 / info.width);
    if (height > 180) {
      width = static_cast<std::uint32_t>(std::uint64_t{info.width} * 180 / info.height);
      height = 180;
    }
    *shown = Render(*image, std::max(width, 1u), std::max(height, 1u));
    image->Metadata();
    return 0;
  } catch (const FormatError& error) {
    EXPECT_STRNE(error.what(), "");
    return error.Status();
  }
}

bool IsOfOneColour(const TestPicture& shown) {
  return std::all_of(shown.samples.begin(), shown.samples.end(), [&](int v) { return v == shown.samples[0]; });
}

class SamplesTest : public testing::Test {
 protected:
  void SetUp() override {
    if (folder.empty()) GTEST_SKIP() << "the sample files are not here";
  }
  std::string folder = SamplesFolder();
};

TEST_F(SamplesTest, OrdinaryFilesAreMade) {
  const std::map<std::string, std::int32_t> exceptions = {{"testorig12.jpg", kQvUnsupported}};
  const std::set<std::string> plain = {"blank_800x280.jpg", "exif_gps.jpg", "jfif_unit_cm.jpg", "jpg-size-1x1.jpg"};
  for (const char* kind : {"jpeg", "png"}) {
    for (const auto& path : Files(folder + "/" + kind)) {
      const std::string name = path.filename().string();
      const auto exception = exceptions.find(name);
      TestPicture shown;
      EXPECT_EQ(Outcome(path, &shown), exception == exceptions.end() ? kQvOk : exception->second) << name;
      if (exception != exceptions.end()) continue;
      EXPECT_TRUE(!IsOfOneColour(shown) || plain.count(name) != 0 || kind == std::string("png")) << name;
    }
  }
}

TEST_F(SamplesTest, NothingBrokenDoesHarm) {
  // JPEG and PNG files that are damaged but show their whole picture.
  const std::set<std::string> whole = {"junk_jpeg_header.jpg", "truncated_jpeg.jpg", "truncated_end_chunk.png"};
  for (const auto& path : Files(folder + "/broken")) {
    const std::string name = path.filename().string(), extension = path.extension().string();
    TestPicture shown;
    const std::int32_t status = Outcome(path, &shown);
    EXPECT_TRUE(status == 0 || status == -9 || status == -3) << name;
    if (extension == ".jpg" || extension == ".png") {
      EXPECT_EQ(status, whole.count(name) != 0 ? 0 : -9) << name;
    }
  }
}

}  // namespace
}  // namespace imageformats
