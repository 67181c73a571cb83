#include "tests/support/child_process.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <fstream>
#include <system_error>
#include <utility>

#if defined(QV_ADDRESS_SANITIZER)
#include <sanitizer/lsan_interface.h>
#endif

namespace qvtest {

#if defined(QV_ADDRESS_SANITIZER) || defined(QV_THREAD_SANITIZER)
const bool kMemoryIsMeasurable = false;
#else
const bool kMemoryIsMeasurable = true;
#endif

namespace {

using CClock = std::chrono::steady_clock;

constexpr unsigned kLongestSeconds = 120;

[[noreturn]] void Fail(int error, const std::string& what) {
  throw std::system_error(error, std::generic_category(), what);
}

std::vector<char*> Pointers(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

double Seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

SProcessResult WaitFor(pid_t child, CClock::time_point start) {
  int status = 0;
  rusage usage{};
  while (wait4(child, &status, 0, &usage) < 0) {
    if (errno != EINTR) Fail(errno, "wait4");
  }
  SProcessResult result;
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  result.seconds = std::chrono::duration<double>(CClock::now() - start).count();
  result.processorSeconds = Seconds(usage.ru_utime) + Seconds(usage.ru_stime);
  result.peakKilobytes = usage.ru_maxrss;
  return result;
}

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
#if defined(QV_ADDRESS_SANITIZER)
  if (__lsan_do_recoverable_leak_check() != 0) status = 1;
#endif
  _exit(status);
}

}  // namespace

CChildProcess::CChildProcess(SCommand command) : m_start(CClock::now()) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, command.out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, command.err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  std::vector<char*> arguments = Pointers(command.arguments), environment = Pointers(command.environment);
  char** const given = command.environment.empty() ? environ : environment.data();
  const int error = posix_spawnp(&m_pid, arguments.front(), &actions, nullptr, arguments.data(), given);
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) Fail(error, command.arguments.front());
}

CChildProcess::~CChildProcess() {
  if (m_pid < 0) return;
  kill(m_pid, SIGKILL);
  waitpid(m_pid, nullptr, 0);
}

void CChildProcess::Signal(int number) const { kill(m_pid, number); }

SProcessResult CChildProcess::Wait() { return WaitFor(std::exchange(m_pid, -1), m_start); }

SWorkResult RunForked(std::uint64_t bytes, const std::function<std::string()>& work) {
  std::array<int, 2> ends{};
  if (pipe(ends.data()) != 0) Fail(errno, "pipe");
  const CClock::time_point start = CClock::now();
  const pid_t child = fork();
  if (child < 0) Fail(errno, "fork");
  if (child == 0) Work(ends[1], bytes, work);
  close(ends[1]);
  SWorkResult result;
  std::array<char, 4096> buffer{};
  for (ssize_t got = 0; (got = read(ends[0], buffer.data(), buffer.size())) > 0;) {
    result.answer.append(buffer.data(), static_cast<std::size_t>(got));
  }
  close(ends[0]);
  static_cast<SProcessResult&>(result) = WaitFor(child, start);
  return result;
}

}  // namespace qvtest
