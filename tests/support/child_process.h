#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace qvtest {

// How a process ended and what it took.
struct SProcessResult {
  int status = -1;                 // its exit status; 128 + n when signal n ended it
  double seconds = 0;              // since its start
  double processorSeconds = 0;     // of all its threads, and the kernel's for it
  std::int64_t peakKilobytes = 0;  // the most memory that was resident
};

struct SCommand {
  std::vector<std::string> arguments;    // the program first, looked for in PATH
  std::vector<std::string> environment;  // empty: this process's own
  // Where its output goes: files, emptied before, or devices.
  std::string out = "/dev/null", err = "/dev/null";
};

// A program that runs beside this one. Killed when the object goes, unless it was waited for.
class CChildProcess {
 public:
  // Starts it. Throws std::system_error when it cannot be started.
  explicit CChildProcess(SCommand command);
  ~CChildProcess();
  CChildProcess(const CChildProcess&) = delete;
  CChildProcess& operator=(const CChildProcess&) = delete;

  void Signal(int number) const;
  // To be called once.
  SProcessResult Wait();

 private:
  pid_t m_pid = -1;
  std::chrono::steady_clock::time_point m_start;
};

// What work in a process of its own did.
struct SWorkResult : SProcessResult {
  std::string answer;  // what it returned
};

// Whether memory can be limited: a sanitizer's shadow memory is larger than any limit.
extern const bool kMemoryIsMeasurable;

// Runs the work in a copy of this process, which may allocate `bytes` beyond what it has at its start and is ended
// after two minutes. Under AddressSanitizer a leak ends it with a failure. Throws std::system_error.
SWorkResult RunForked(std::uint64_t bytes, const std::function<std::string()>& work);

}  // namespace qvtest
