#include "platform/imageformats/base/input.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstring>

#include "platform/imageformats/base/format_error.h"
#include "tests/support/encode_jpeg.h"
#include "tests/support/file_bytes.h"
#include "tests/support/temp_folder.h"

namespace imageformats {
namespace {

using namespace qvtest;

TEST(Input, ReadsFilesAndMemoryAlike) {
  const CTempFolder folder;
  SFileBytes bytes(1000);
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<std::uint8_t>(i * 7);
  const auto file = CInput::FromFile(folder.MakeFileWide("a.bin", bytes));
  const auto memory = CInput::FromMemory(bytes.data(), bytes.size());
  for (const auto& input : {file, memory}) {
    EXPECT_EQ(input->Size(), 1000u);
    EXPECT_EQ(input->Head().size(), CInput::kHeadSize);
    EXPECT_EQ(std::memcmp(input->Head().data(), bytes.data(), CInput::kHeadSize), 0);
    std::uint8_t buffer[100];
    EXPECT_EQ(input->ReadAt(950, buffer, 100), 50u);
    EXPECT_EQ(std::memcmp(buffer, bytes.data() + 950, 50), 0);
    EXPECT_EQ(input->ReadAt(1000, buffer, 1), 0u);
    EXPECT_EQ(input->ReadAt(~0ull, buffer, 1), 0u);
  }
  EXPECT_TRUE(file->IsFile());
  EXPECT_TRUE(file->Memory().empty());
  EXPECT_FALSE(memory->IsFile());
  EXPECT_EQ(memory->Memory().size(), 1000u);
}

TEST(Input, FindsTheFileWithoutRegardToCase) {
  const CTempFolder folder;
  folder.MakeFile("IMG_0001.JPG", BytesOf("x"));
  const auto input = CInput::FromFile(folder.Wide("img_0001.jpg"));
  EXPECT_EQ(input->NativePath().Str(), folder.Path("IMG_0001.JPG"));
}

TEST(Input, RefusesWhatIsNoFile) {
  const CTempFolder folder;
  EXPECT_THROW(CInput::FromFile(folder.Wide()), CDamagedError);
  EXPECT_THROW(CInput::FromFile(L"/nowhere/at/all.png"), CDamagedError);
  EXPECT_THROW(CInput::FromFile(L""), CDamagedError);
  const std::string fifo = folder.Path("pipe.jpg");
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  EXPECT_THROW(CInput::FromFile(CQvStringUtils::UTF8toW(fifo.c_str())), CDamagedError);
  EXPECT_THROW(CInput::FromMemory(nullptr, 5), CDamagedError);
  EXPECT_THROW(CInput::FromMemory("x", 0), CDamagedError);
}

}  // namespace
}  // namespace imageformats
