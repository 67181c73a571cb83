#include "bench/cold/process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <system_error>

namespace {

class CQuietOutput {
 public:
  CQuietOutput() {
    posix_spawn_file_actions_init(&m_actions);
    for (const int descriptor : {STDOUT_FILENO, STDERR_FILENO}) {
      posix_spawn_file_actions_addopen(&m_actions, descriptor, "/dev/null", O_WRONLY, 0);
    }
  }
  ~CQuietOutput() { posix_spawn_file_actions_destroy(&m_actions); }
  CQuietOutput(const CQuietOutput&) = delete;
  CQuietOutput& operator=(const CQuietOutput&) = delete;

  const posix_spawn_file_actions_t* Get() const { return &m_actions; }

 private:
  posix_spawn_file_actions_t m_actions{};
};

double Seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

}  // namespace

SProcessRun RunProcess(const std::vector<std::string>& arguments) {
  std::vector<char*> pointers;
  for (const std::string& argument : arguments) pointers.push_back(const_cast<char*>(argument.c_str()));
  pointers.push_back(nullptr);
  const CQuietOutput quiet;
  pid_t child = 0;
  const auto begin = std::chrono::steady_clock::now();
  if (const int error = posix_spawnp(&child, pointers.front(), quiet.Get(), nullptr, pointers.data(), environ)) {
    throw std::system_error(error, std::generic_category(), arguments.front());
  }
  int status = 0;
  rusage usage{};
  while (wait4(child, &status, 0, &usage) < 0) {
    if (errno != EINTR) throw std::system_error(errno, std::generic_category(), arguments.front());
  }
  SProcessRun run;
  run.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  run.processorSeconds = Seconds(usage.ru_utime) + Seconds(usage.ru_stime);
  run.peakMiB = static_cast<double>(usage.ru_maxrss) / 1024;
  run.succeeded = WIFEXITED(status) && WEXITSTATUS(status) == 0;
  return run;
}

bool IsInstalled(const std::string& program) {
  if (program.find('/') != std::string::npos) return access(program.c_str(), X_OK) == 0;
  const char* path = std::getenv("PATH");
  std::istringstream folders(path != nullptr ? path : "");
  for (std::string folder; std::getline(folders, folder, ':');) {
    if (access((std::filesystem::path(folder) / program).c_str(), X_OK) == 0) return true;
  }
  return false;
}
