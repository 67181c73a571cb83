// Real files, where they are there, against the checked-in table of what has to become of each. How the pictures look
// was judged by eye, as the table's last column says.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <set>

#include "picture/qvpicbuf.h"
#include "platform/imageformats/base/new_picture.h"
#include "platform/imageformats/component/image_format_manager_impl.h"
#include "platform/imageformats/component/picture_source.h"
#include "system/qvref.h"
#include "system/qvstatus.h"
#include "tests/support/child_process.h"
#include "tests/support/samples.h"
#include "tests/support/thumbnail_size.h"

namespace imageformats {
namespace {

using namespace qvtest;

namespace fs = std::filesystem;

constexpr std::uint64_t kMemory = 256ull << 20;

// "made", "unsupported" or "damaged", and behind a tab the thumbnail's size or the reason.
class CThumbnailMaker {
 public:
  std::string Open(const std::string& path) {
    const CQvStringW file = CQvStringUtils::UTF8toW(path);
    CQvRef<IQvImageCodec> codec;
    if (const auto status = m_manager->GetCodecForFile(file, codec.Out())) return Refusal(status);
    CQvRef<IQvPictureSource> source;
    if (const auto status = codec->OpenInputFile(file, source.Out())) return Refusal(status);
    return Thumbnail(*source);
  }

 private:
  std::string Thumbnail(IQvPictureSource& source) {
    CQvRef<IQvMetadataReader> reader;
    if (const auto status = source.GetMetadataReader(reader.Out())) return Refusal(status);
    SQvImageInfo info;
    if (const auto status = source.GetPictureInfo(&info)) return Refusal(status);
    const SThumbnailSize large = FitInto({640, 240}, info.width, info.height);
    const SThumbnailSize small = FitInto({480, 180}, info.width, info.height);
    const std::int32_t careful = Render(source, large, false), fast = Render(source, small, true);
    if (careful != fast) return "damaged\tthe qualities disagree";
    if (fast != kQvOk) return Refusal(fast);
    return "made\t" + std::to_string(small.width) + " x " + std::to_string(small.height);
  }

  static std::int32_t Render(IQvPictureSource& source, SThumbnailSize size, bool fast) {
    CQvPicture picture = NewPicture(size.width, size.height, 8, 3);
    return source.RenderPicture(&size.width, &size.height, picture.Get(), kOverviewMode, fast, 0, 0, kAllChannels);
  }

  std::string Refusal(std::int32_t status) const {
    const std::string outcome = status == kQvUnsupported ? "unsupported" : "damaged";
    return outcome + '\t' + CQvStringUtils::WtoUTF8(m_manager->GetErrorText()).Str();
  }

  CQvRef<IQvImageFormatManager> m_manager{new ("test", 1) CQvImageFormatManagerImpl};
};

class SamplesTest : public testing::Test {
 protected:
  void SetUp() override {
    if (folder.empty()) GTEST_SKIP() << "the sample files are not here";
  }
  const std::string folder = SamplesFolder();
};

TEST_F(SamplesTest, EveryFileIsInTheTable) {
  std::set<std::string> listed, present;
  for (const SSampleOutcome& expected : ReadSampleOutcomes()) listed.insert(expected.file);
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    if (entry.is_regular_file()) present.insert(fs::relative(entry.path(), folder).string());
  }
  present.erase("MANIFEST.tsv");
  EXPECT_EQ(listed, present);
}

// Each in a process of its own: a crash, a hang and the memory it needs belong to one file.
TEST_F(SamplesTest, EveryFileEndsAsTheTableSays) {
  std::int64_t most = 0;
  for (const SSampleOutcome& expected : ReadSampleOutcomes()) {
    const std::string path = folder + "/" + expected.file;
    const SWorkResult child = RunForked(kMemory, [&] { return CThumbnailMaker().Open(path); });
    EXPECT_EQ(child.status, 0) << expected.file;
    EXPECT_THAT(child.answer, testing::StartsWith(expected.outcome + '\t' + expected.detail)) << expected.file;
    if (expected.file.rfind("broken/", 0) == 0) most = std::max(most, child.peakKilobytes);
  }
  if (kMemoryIsMeasurable) {
    EXPECT_LT(most, static_cast<std::int64_t>(kMemory >> 10));
  }
  RecordProperty("most_kilobytes_of_broken_files", std::to_string(most));
}

// The limit is one: work that wants more of it fails.
TEST(ForkedWork, LimitsMemoryAndReportsIt) {
  if (!kMemoryIsMeasurable) GTEST_SKIP() << "a sanitizer's own memory hides it";
  const auto fill = [](std::size_t bytes) {
    return RunForked(kMemory, [&]() -> std::string {
      try {
        const std::vector<char> memory(bytes, 'x');
        return {memory.back()};
      } catch (const std::bad_alloc&) {
        return "refused";
      }
    });
  };
  EXPECT_EQ(fill(kMemory + (1 << 20)).answer, "refused");
  const SWorkResult half = fill(kMemory / 2);
  EXPECT_EQ(half.answer, "x");
  EXPECT_GT(half.peakKilobytes, static_cast<std::int64_t>(kMemory / 2 >> 10));
}

TEST(ForkedWork, ReportsACrash) {
  EXPECT_EQ(RunForked(kMemory, [] { return raise(SIGKILL) == 0 ? "alive" : "odd"; }).status, 128 + SIGKILL);
}

}  // namespace
}  // namespace imageformats
