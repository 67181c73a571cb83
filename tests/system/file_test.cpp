#include "system/qvfile.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <bit>
#include <cstring>

#include "system/qvstatus.h"
#include "tests/support/temp_folder.h"

namespace {

using qvtest::CTempFolder;

constexpr std::uint64_t kUnixEpochTicks = 116'444'736'000'000'000u;
constexpr QvFileHandle kUnsetHandle = -77;
constexpr std::uint32_t kShareAll = kQvShareRead | kQvShareWrite;
constexpr std::uint32_t kUnknownAccess = 2;

std::int32_t Open(const std::wstring& path, QvFileHandle* handle) {
  return QV_OpenFile(path.c_str(), kQvFileRead, kShareAll, kQvAnyAttributes, handle);
}

void SetTimes(const std::string& path, timespec access, timespec write) {
  const timespec times[2] = {access, write};
  ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
}

TEST(File, OpensReadsAndCloses) {
  const CTempFolder folder;
  folder.MakeFile("image.bin", "0123456789");
  QvFileHandle handle = kUnsetHandle;
  ASSERT_EQ(Open(folder.Wide("image.bin"), &handle), 0);
  std::int64_t size = 0;
  EXPECT_EQ(QV_GetFileSize(handle, &size), 0);
  EXPECT_EQ(size, 10);
  char bytes[4] = {};
  EXPECT_EQ(::pread(handle, bytes, 3, 4), 3);
  EXPECT_STREQ(bytes, "456");
  EXPECT_NE(::fcntl(handle, F_GETFD) & FD_CLOEXEC, 0);
  EXPECT_EQ(QV_CloseFile(handle), 0);
  EXPECT_EQ(QV_CloseFile(handle), kQvFailure);
}

TEST(File, RefusesWhatIsNoRegularFileWithoutWaiting) {
  const CTempFolder folder;
  ASSERT_EQ(::mkfifo(folder.Path("fifo").c_str(), 0600), 0);
  folder.MakeFolder("sub");
  const int server = ::socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, folder.Path("socket").c_str(), sizeof address.sun_path - 1);
  ASSERT_EQ(::bind(server, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  for (const std::wstring& path : {folder.Wide("fifo"), folder.Wide("sub"), folder.Wide("socket"),
                                   std::wstring(L"/dev/null"), std::wstring(L"/dev/zero")}) {
    QvFileHandle handle = kUnsetHandle;
    EXPECT_EQ(Open(path, &handle), kQvFailure);
    EXPECT_EQ(handle, kUnsetHandle);
  }
  ::close(server);
}

TEST(File, RefusesWrongArguments) {
  const CTempFolder folder;
  folder.MakeFile("f");
  const std::wstring path = folder.Wide("f");
  QvFileHandle handle = kUnsetHandle;
  EXPECT_EQ(QV_OpenFile(nullptr, kQvFileRead, kShareAll, kQvAnyAttributes, &handle), kQvFailure);
  EXPECT_EQ(QV_OpenFile(L"", kQvFileRead, kShareAll, kQvAnyAttributes, &handle), kQvFailure);
  EXPECT_EQ(QV_OpenFile(path.c_str(), kUnknownAccess, kShareAll, kQvAnyAttributes, &handle), kQvFailure);
  EXPECT_EQ(QV_OpenFile(path.c_str(), kQvFileRead, kShareAll, kQvAnyAttributes, nullptr), kQvFailure);
  EXPECT_EQ(Open(folder.Wide("missing"), &handle), kQvFailure);
  EXPECT_EQ(Open(folder.Wide("f/below"), &handle), kQvFailure);
  EXPECT_EQ(Open(std::wstring(100000, L'x'), &handle), kQvFailure);
  EXPECT_EQ(handle, kUnsetHandle);
  std::int64_t size = 5;
  EXPECT_EQ(QV_GetFileSize(-1, &size), kQvFailure);
  EXPECT_EQ(size, 5);
  SQvFileTime time = SQvFileTime::FromTicks(5);
  EXPECT_EQ(QV_GetFileTimes(-1, &time, &time, &time), kQvFailure);
  EXPECT_EQ(time.Ticks(), 5u);
}

TEST(File, TimesAreTicksSince1601) {
  const CTempFolder folder;
  const std::string path = folder.MakeFile("f");
  SetTimes(path, {1'000'000'000, 123'456'789}, {1'234'567'890, 999'999'999});
  QvFileHandle handle = kUnsetHandle;
  ASSERT_EQ(Open(folder.Wide("f"), &handle), 0);
  SQvFileTime creation, access, write;
  EXPECT_EQ(QV_GetFileTimes(handle, &creation, &access, &write), 0);
  EXPECT_EQ(access.Ticks(), kUnixEpochTicks + 10'000'000'001'234'567u);
  EXPECT_EQ(write.Ticks(), kUnixEpochTicks + 12'345'678'909'999'999u);
  EXPECT_EQ(QV_GetFileTimes(handle, nullptr, nullptr, nullptr), 0);
  // The birth time where there is one: today, not the time set back.
  struct statx status;
  ASSERT_EQ(::statx(handle, "", AT_EMPTY_PATH, STATX_BTIME, &status), 0);
  if (status.stx_mask & STATX_BTIME) {
    EXPECT_EQ(creation.Ticks(), kUnixEpochTicks + static_cast<std::uint64_t>(status.stx_btime.tv_sec) * 10'000'000u +
                                    status.stx_btime.tv_nsec / 100);
  } else {
    EXPECT_EQ(creation.Ticks(), write.Ticks());
  }
  EXPECT_EQ(QV_CloseFile(handle), 0);
}

TEST(File, TimesBefore1970AndLateOnesHaveTicks) {
  const CTempFolder folder;
  const std::string path = folder.MakeFile("f");
  SetTimes(path, {0, 0}, {-1, 500'000'000});
  SQvFindData data;
  QvFindHandle find = nullptr;
  ASSERT_EQ(QV_FindFileFirst(folder.Wide("f").c_str(), &data, &find), 0);
  EXPECT_EQ(data.lastWriteTime.Ticks(), kUnixEpochTicks - 5'000'000);
  EXPECT_EQ(QV_FindFileClose(find), 0);
}

TEST(File, OpenFileAndFindDataGiveTheSameJulianDays) {
  const CTempFolder folder;
  const std::string path = folder.MakeFile("f");
  for (int i = 0; i < 200; ++i) {
    SetTimes(path, {i * 1000003, i * 4999}, {1'600'000'000 + i * 7919, i * 4'987'654});
    QvFileHandle handle = kUnsetHandle;
    ASSERT_EQ(Open(folder.Wide("f"), &handle), 0);
    SQvFileTime creation, write;
    ASSERT_EQ(QV_GetFileTimes(handle, &creation, nullptr, &write), 0);
    ASSERT_EQ(QV_CloseFile(handle), 0);
    SQvFindData data;
    QvFindHandle find = nullptr;
    ASSERT_EQ(QV_FindFileFirst(folder.Wide("f").c_str(), &data, &find), 0);
    ASSERT_EQ(QV_FindFileClose(find), 0);
    CQvDateTime throughTm;
    ASSERT_TRUE(throughTm.Set(CQvDateTime::Tm(data.lastWriteTime), CQvDateTime::TimeZone{0}));
    EXPECT_EQ(std::bit_cast<std::uint64_t>(throughTm.GetJulianDayNumber()),
              std::bit_cast<std::uint64_t>(CQvDateTime(write).GetJulianDayNumber()));
    EXPECT_EQ(data.creationTime.Ticks(), creation.Ticks());
  }
}

TEST(File, FindsFilesAndFolders) {
  const CTempFolder folder;
  folder.MakeFile("f", "12345");
  folder.MakeFolder("sub");
  SQvFindData data;
  QvFindHandle find = nullptr;
  ASSERT_EQ(QV_FindFileFirst(folder.Wide("f").c_str(), &data, &find), 0);
  EXPECT_EQ(data.size, 5);
  EXPECT_EQ(data.isFolder, 0u);
  EXPECT_NE(find, nullptr);
  EXPECT_EQ(QV_FindFileClose(find), 0);
  ASSERT_EQ(QV_FindFileFirst(folder.Wide("sub").c_str(), &data, &find), 0);
  EXPECT_EQ(data.isFolder, 1u);
  EXPECT_EQ(QV_FindFileClose(find), 0);
}

TEST(File, FindLeavesItsOutputsWhenNothingIsThere) {
  const CTempFolder folder;
  folder.MakeFile("f");
  SQvFindData data;
  data.size = 5;
  int marker = 0;
  QvFindHandle find = &marker;
  EXPECT_EQ(QV_FindFileFirst(folder.Wide("missing").c_str(), &data, &find), kQvFailure);
  EXPECT_EQ(QV_FindFileFirst(folder.Wide("*").c_str(), &data, &find), kQvFailure);
  EXPECT_EQ(QV_FindFileFirst(nullptr, &data, &find), kQvFailure);
  EXPECT_EQ(QV_FindFileFirst(L"", &data, &find), kQvFailure);
  EXPECT_EQ(QV_FindFileFirst(folder.Wide("f").c_str(), nullptr, &find), kQvFailure);
  EXPECT_EQ(QV_FindFileFirst(folder.Wide("f").c_str(), &data, nullptr), kQvFailure);
  EXPECT_EQ(data.size, 5);
  EXPECT_EQ(find, &marker);
  EXPECT_EQ(QV_FindFileClose(find), kQvFailure);
  EXPECT_EQ(QV_FindFileClose(nullptr), kQvFailure);
}

TEST(File, NamesThatAreNoUtf8Work) {
  const CTempFolder folder;
  const std::string name = "caf\xE9 \xFF\xC3.tif";
  folder.MakeFile(name, "abc");
  QvFileHandle handle = kUnsetHandle;
  ASSERT_EQ(Open(folder.Wide(name), &handle), 0);
  EXPECT_EQ(QV_CloseFile(handle), 0);
  ASSERT_EQ(Open(folder.Lower(name), &handle), 0);
  EXPECT_EQ(QV_CloseFile(handle), 0);
  CQvStringA native;
  EXPECT_EQ(QV_ResolvePath(folder.Lower(name).c_str(), &native), 0);
  EXPECT_EQ(native.Str(), folder.Path(name));
}

}  // namespace
