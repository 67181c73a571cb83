// Folders that are pictures, as the file layer answers for them.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "system/qvfile.h"
#include "system/qvstatus.h"
#include "tests/support/temp_folder.h"

namespace {

using qvtest::CTempFolder;

constexpr std::uint64_t kEpochTicks = 116'444'736'000'000'000u;
constexpr std::uint64_t kSecondTicks = 10'000'000;

class PictureFolderTest : public testing::Test {
 protected:
  // A file of the picture, last written then.
  void Put(const std::string& name, std::time_t seconds, const std::string& content = "{}") const {
    m_folder.MakeFile("x.zarr/" + name, content);
    Touch(name, seconds);
  }
  void Touch(const std::string& name, std::time_t seconds) const {
    const timespec times[2] = {{seconds, 0}, {seconds, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, m_folder.Path("x.zarr/" + name).c_str(), times, 0), 0);
  }
  // The time and size that the file layer gives, both ways alike.
  std::pair<std::uint64_t, std::int64_t> State(const std::string& name = "x.zarr") const {
    SQvFindData data;
    QvFindHandle find = nullptr;
    EXPECT_EQ(QV_FindFileFirst(m_folder.Wide(name).c_str(), &data, &find), kQvOk);
    QV_FindFileClose(find);
    QvFileHandle handle{};
    EXPECT_EQ(Open(m_folder.Wide(name), &handle), kQvOk);
    SQvFileTime lastWrite;
    std::int64_t size = 0;
    EXPECT_EQ(QV_GetFileTimes(handle, nullptr, nullptr, &lastWrite), kQvOk);
    EXPECT_EQ(QV_GetFileSize(handle, &size), kQvOk);
    QV_CloseFile(handle);
    EXPECT_EQ(lastWrite.Ticks(), data.lastWriteTime.Ticks());
    EXPECT_EQ(size, data.size);
    return {(lastWrite.Ticks() - kEpochTicks) / kSecondTicks, size};
  }
  static std::int32_t Open(const std::wstring& path, QvFileHandle* handle) {
    return QV_OpenFile(path.c_str(), kQvFileRead, kQvShareRead, kQvAnyAttributes, handle);
  }
  // Two levels of one chunk each, all written at 1000.
  void PutPicture() const {
    Put(".zattrs", 1000);
    for (const char* level : {"0", "1"}) {
      Put(std::string(level).append("/.zarray"), 1000);
      Put(std::string(level).append("/0/0"), 1000, "chunk");
      Touch(std::string(level).append("/0"), 1000);
      Touch(level, 1000);
    }
  }

  CTempFolder m_folder;
};

TEST_F(PictureFolderTest, IsAsNewAsItsNewestDescriptionOrChunk) {
  PutPicture();
  EXPECT_EQ(State().first, 1000u);
  Touch("1/0/0", 2000);
  EXPECT_EQ(State().first, 2000u);
  Touch("0/0/0", 3000);
  EXPECT_EQ(State().first, 3000u);
  Touch(".zattrs", 4000);
  EXPECT_EQ(State().first, 4000u);
  Touch("1/.zarray", 5000);
  EXPECT_EQ(State().first, 5000u);
  // A chunk that is replaced by renaming another, which keeps its time.
  Touch("1/0", 6000);
  EXPECT_EQ(State().first, 6000u);
}

TEST_F(PictureFolderTest, IsAsLargeAsItsFiles) {
  PutPicture();
  EXPECT_EQ(State().second, 3 * 2 + 2 * 5);
}

TEST_F(PictureFolderTest, LabelsDoNotCount) {
  PutPicture();
  Put("labels/.zattrs", 9000);
  Put("labels/cells/.zattrs", 9000);
  EXPECT_EQ(State().first, 1000u);
}

TEST_F(PictureFolderTest, APlateIsAsNewAsItsFirstWell) {
  Put(".zattrs", 1000);
  Put("A/2/0/.zattrs", 1000);
  Put("A/2/0/0/.zarray", 1000);
  Put("A/2/0/0/0.0", 1500);
  for (const char* folder : {"A/2/0/0", "A/2/0", "A/2", "A"}) Touch(folder, 1000);
  Put("A/10/0/.zattrs", 7000);
  Put("B/1/0/.zattrs", 8000);
  EXPECT_EQ(State().first, 1500u);
}

TEST_F(PictureFolderTest, OfAGreatPictureTheSmallestLevelCounts) {
  Put("zarr.json", 1000, R"({"node_type":"group"})");
  for (const char* level : {"0", "1", "10"}) {
    Put(std::string(level).append("/zarr.json"), 1000, R"({"node_type":"array"})");
  }
  for (int i = 0; i < 2500; ++i) Put("1/c." + std::to_string(i), 1000);
  for (const char* level : {"0", "1", "10"}) Touch(level, 1000);
  Put("10/c.0", 2000);
  Touch("10", 1000);
  Put("0/c.0", 3000);
  Touch("0", 1000);
  EXPECT_EQ(State().first, 2000u);
}

TEST_F(PictureFolderTest, IsNamedByItsDescriptionToo) {
  PutPicture();
  Touch("1/0/0", 2000);
  Put(".zgroup", 1000);
  EXPECT_EQ(State("x.zarr/.zattrs"), State());
  EXPECT_EQ(State("X.ZARR/.zgroup"), State());
}

TEST_F(PictureFolderTest, AnyOtherFolderIsNone) {
  m_folder.MakeFolder("plain");
  m_folder.MakeFile("plain/a.txt");
  m_folder.MakeFolder("odd/.zattrs");
  QvFileHandle handle = -77;
  EXPECT_EQ(Open(m_folder.Wide("plain"), &handle), kQvFailure);
  EXPECT_EQ(Open(m_folder.Wide("odd"), &handle), kQvFailure);
  EXPECT_EQ(handle, -77);
}

TEST_F(PictureFolderTest, OpensFilesBelowItselfAndNoOthers) {
  PutPicture();
  m_folder.MakeFile("secret", "s");
  ASSERT_EQ(::symlink("../secret", m_folder.Path("x.zarr/up").c_str()), 0);
  ASSERT_EQ(::symlink(m_folder.Path("secret").c_str(), m_folder.Path("x.zarr/away").c_str()), 0);
  ASSERT_EQ(::symlink("..", m_folder.Path("x.zarr/folder").c_str()), 0);
  ASSERT_EQ(::mkfifo(m_folder.Path("x.zarr/pipe").c_str(), 0600), 0);
  QvFileHandle folder{}, file = -77;
  ASSERT_EQ(Open(m_folder.Wide("x.zarr"), &folder), kQvOk);
  EXPECT_TRUE(QV_IsFolder(folder));
  for (const std::string& name : {std::string("../secret"), m_folder.Path("secret"), std::string("up"),
                                  std::string("away"), std::string("folder/secret"), std::string("0/../../secret"),
                                  std::string("0"), std::string("pipe"), std::string(""), std::string("0//0/0"),
                                  std::string("./.zattrs"), std::string("missing"), std::string("/0/0/0")}) {
    EXPECT_EQ(QV_OpenFileBelow(folder, name.c_str(), &file), kQvFailure) << name;
  }
  EXPECT_EQ(file, -77);
  ASSERT_EQ(QV_OpenFileBelow(folder, "0/0/0", &file), kQvOk);
  EXPECT_FALSE(QV_IsFolder(file));
  QV_CloseFile(file);
  QV_CloseFile(folder);
}

}  // namespace
