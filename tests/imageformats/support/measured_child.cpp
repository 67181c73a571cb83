#include "tests/imageformats/support/measured_child.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <fstream>
#include <stdexcept>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
const bool kMemoryIsMeasurable = false;
#elif defined(__SANITIZE_THREAD__)
const bool kMemoryIsMeasurable = false;
#else
const bool kMemoryIsMeasurable = true;
#endif

namespace {

constexpr unsigned kLongestSeconds = 120;

void LimitGrowth(std::uint64_t bytes) {
  std::uint64_t pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  const rlim_t most = pages * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE)) + bytes;
  const rlimit limit{most, most};
  if (pages == 0 || setrlimit(RLIMIT_AS, &limit) != 0) _exit(1);
}

[[noreturn]] void Work(int out, std::uint64_t bytes, const std::function<std::string()>& work) {
  alarm(kLongestSeconds);
  if (kMemoryIsMeasurable) LimitGrowth(bytes);
  int status = 1;
  {
    const std::string answer = work();
    if (write(out, answer.data(), answer.size()) == static_cast<ssize_t>(answer.size())) status = 0;
  }
#if defined(__SANITIZE_ADDRESS__)
  if (__lsan_do_recoverable_leak_check() != 0) status = 1;
#endif
  _exit(status);
}

}  // namespace

SChildResult RunMeasured(std::uint64_t bytes, const std::function<std::string()>& work) {
  std::array<int, 2> ends{};
  if (pipe(ends.data()) != 0) throw std::runtime_error("no pipe");
  const pid_t child = fork();
  if (child < 0) throw std::runtime_error("no process");
  if (child == 0) Work(ends[1], bytes, work);
  close(ends[1]);
  SChildResult result;
  std::array<char, 4096> buffer{};
  for (ssize_t got = 0; (got = read(ends[0], buffer.data(), buffer.size())) > 0;) {
    result.answer.append(buffer.data(), static_cast<std::size_t>(got));
  }
  close(ends[0]);
  int status = 0;
  rusage usage{};
  if (wait4(child, &status, 0, &usage) != child) throw std::runtime_error("the process is lost");
  result.kilobytes = usage.ru_maxrss;
  if (WIFSIGNALED(status)) {
    result.ended = WTERMSIG(status);
  } else {
    result.ended = WEXITSTATUS(status) == 0 ? 0 : 256;
  }
  return result;
}
