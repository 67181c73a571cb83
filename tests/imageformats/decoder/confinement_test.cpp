#include "platform/imageformats/decoder/confinement.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <thread>

#include "tests/support/temp_folder.h"

namespace imageformats {
namespace {

constexpr int kConfined = 0, kNotConfined = 1, kGotThrough = 2;

// Tries it in a confined process, which may read below `folder` when there is one; how that process ended.
int InConfinement(const std::function<bool()>& trial, const std::string& folder = "") {
  const int handle = folder.empty() ? -1 : open(folder.c_str(), O_PATH | O_DIRECTORY);
  const pid_t pid = fork();
  if (pid == 0) {
    if (!Confine(handle)) _exit(kNotConfined);
    _exit(trial() ? kGotThrough : kConfined);
  }
  close(handle);
  int status = 0;
  waitpid(pid, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

bool CanOpen(const std::string& path, int flags = O_RDONLY) { return open(path.c_str(), flags, 0600) >= 0; }

TEST(Confinement, LeavesTheMemoryThatDecodingTakes) {
  EXPECT_EQ(InConfinement([] {
              void* const memory = std::malloc(300u << 20);
              return memory != nullptr;
            }),
            kGotThrough);
}

TEST(Confinement, MemoryIsBounded) {
  EXPECT_EQ(InConfinement([] { return std::malloc(2048ull << 20) != nullptr; }), kConfined);
}

TEST(Confinement, NoFileCanBeOpenedOrMade) {
  const qvtest::CTempFolder folder;
  const std::string file = folder.MakeFile("a");
  EXPECT_EQ(InConfinement([&] { return CanOpen(file); }), kConfined);
  EXPECT_EQ(InConfinement([&] { return CanOpen(folder.Path("new"), O_WRONLY | O_CREAT); }), kConfined);
  EXPECT_EQ(InConfinement([&] { return unlink(file.c_str()) == 0; }), kConfined);
  EXPECT_EQ(InConfinement([&] { return rename(file.c_str(), folder.Path("b").c_str()) == 0; }), kConfined);
}

TEST(Confinement, WhatIsOpenDoesNotGrow) {
  const qvtest::CTempFolder folder;
  const int file = open(folder.MakeFile("a").c_str(), O_RDWR | O_APPEND);
  EXPECT_NE(InConfinement([&] { return write(file, "more", 4) == 4; }), kGotThrough);
  close(file);
}

TEST(Confinement, ThereIsNoNetwork) {
  EXPECT_EQ(InConfinement([] { return socket(AF_INET, SOCK_STREAM, 0) >= 0; }), kConfined);
  EXPECT_EQ(InConfinement([] { return socket(AF_UNIX, SOCK_STREAM, 0) >= 0; }), kConfined);
}

TEST(Confinement, NoProgramIsStartedAndNoProcessTouched) {
  EXPECT_EQ(InConfinement([] { return fork() >= 0; }), kConfined);
  EXPECT_EQ(InConfinement([] { return execl("/bin/true", "true", nullptr) == 0; }), kConfined);
  EXPECT_EQ(InConfinement([] { return kill(getppid(), 0) == 0; }), kConfined);
  EXPECT_EQ(InConfinement([] { return ptrace(PTRACE_ATTACH, getppid(), nullptr, nullptr) == 0; }), kConfined);
}

TEST(Confinement, AThreadMayBeMadeAndIsConfinedAsWell) {
  const qvtest::CTempFolder folder;
  const std::string file = folder.MakeFile("a");
  const auto onThread = [](const std::function<bool()>& trial) {
    bool through = false;
    std::thread([&] { through = trial(); }).join();
    return through;
  };
  EXPECT_EQ(InConfinement([&] { return onThread([] { return setpriority(PRIO_PROCESS, 0, 5) == 0; }); }), kGotThrough);
  EXPECT_EQ(InConfinement([&] { return onThread([&] { return CanOpen(file); }); }), kConfined);
  EXPECT_EQ(InConfinement([&] { return onThread([] { return fork() >= 0; }); }), kConfined);
}

TEST(Confinement, NoMemoryBecomesCode) {
  const auto map = [](int protection) { return mmap(nullptr, 4096, protection, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0); };
  EXPECT_EQ(InConfinement([&] { return map(PROT_READ | PROT_EXEC) != MAP_FAILED; }), kConfined);
  EXPECT_EQ(InConfinement([&] { return mprotect(map(PROT_READ | PROT_WRITE), 4096, PROT_READ | PROT_EXEC) == 0; }),
            kConfined);
}

TEST(Confinement, ACrashIsStillACrash) {
  EXPECT_EQ(InConfinement([] { return (std::abort(), true); }), 128 + SIGABRT);
}

TEST(Confinement, ASlidesFolderCanBeReadAndNothingElse) {
  const qvtest::CTempFolder folder;
  folder.MakeFolder("slides/a");
  const std::string slide = folder.MakeFile("slides/a/b"), other = folder.MakeFile("other");
  const std::string slides = folder.Path("slides");
  EXPECT_EQ(InConfinement([&] { return CanOpen(slide); }, slides), kGotThrough);
  EXPECT_EQ(InConfinement([&] { return CanOpen(slide, O_RDWR); }, slides), kConfined);
  EXPECT_EQ(InConfinement([&] { return CanOpen(slides + "/new", O_WRONLY | O_CREAT); }, slides), kConfined);
  constexpr long kAskForLandlock = 444;
  if (syscall(kAskForLandlock, nullptr, 0, 1) < 1) GTEST_SKIP() << "this kernel has no Landlock";
  EXPECT_EQ(InConfinement([&] { return CanOpen(other); }, slides), kConfined);
  EXPECT_EQ(InConfinement([&] { return CanOpen("/etc/passwd"); }, slides), kConfined);
}

}  // namespace
}  // namespace imageformats
