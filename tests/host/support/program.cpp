#include "tests/host/support/program.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace {

std::string ReadAll(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// The test's own environment, without what leads to the real user's files, and with `assignments`, which replace: of
// two values of a name a program reads the first.
std::vector<std::string> Environment(const std::vector<std::string>& assignments) {
  const auto isKept = [&](const std::string& entry) {
    const std::string name = entry.substr(0, entry.find('=') + 1);
    const auto assigns = [&](const std::string& assignment) { return assignment.starts_with(name); };
    return !name.starts_with("XDG_") && std::none_of(assignments.begin(), assignments.end(), assigns);
  };
  std::vector<std::string> environment;
  for (char** entry = environ; *entry; ++entry) {
    if (isKept(*entry)) environment.emplace_back(*entry);
  }
  environment.insert(environment.end(), assignments.begin(), assignments.end());
  return environment;
}

std::vector<char*> Pointers(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

}  // namespace

nlohmann::json SRunResult::Json() const {
  auto document = nlohmann::json::parse(out, nullptr, false);
  EXPECT_FALSE(document.is_discarded()) << out << err;
  return document;
}

CProgram::CProgram() { m_environment = {"HOME=" + m_folder.MakeFolder("home")}; }

CProgram::CProcess::CProcess(const CProgram& program, const std::vector<std::string>& arguments,
                             const std::string& err) {
  static std::atomic<int> runs{0};
  const std::string run = "run" + std::to_string(++runs);
  m_out = program.m_folder.Path(run + ".out");
  m_err = err.empty() ? program.m_folder.Path(run + ".err") : err;
  std::vector<std::string> command = {QVTHUMBS_PROGRAM};
  command.insert(command.end(), arguments.begin(), arguments.end());
  std::vector<std::string> environment = Environment(program.m_environment);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, m_out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, m_err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  const int result =
      posix_spawn(&m_pid, QVTHUMBS_PROGRAM, &actions, nullptr, Pointers(command).data(), Pointers(environment).data());
  posix_spawn_file_actions_destroy(&actions);
  if (result != 0) ADD_FAILURE() << "cannot start " << QVTHUMBS_PROGRAM << ": " << std::strerror(result);
}

CProgram::CProcess::~CProcess() {
  if (m_waited) return;
  kill(m_pid, SIGKILL);
  waitpid(m_pid, nullptr, 0);
}

void CProgram::CProcess::Signal(int number) const { kill(m_pid, number); }

SRunResult CProgram::CProcess::Wait() {
  int status = 0;
  waitpid(m_pid, &status, 0);
  m_waited = true;
  const bool isFile = std::filesystem::is_regular_file(m_err);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), ReadAll(m_out),
          isFile ? ReadAll(m_err) : std::string()};
}

SRunResult CProgram::Run(const std::vector<std::string>& arguments) { return CProcess(*this, arguments).Wait(); }

SRunResult CProgram::RunOnTerminal(const std::vector<std::string>& arguments) {
  const int terminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  if (terminal < 0 || grantpt(terminal) != 0 || unlockpt(terminal) != 0) {
    ADD_FAILURE() << "no terminal: " << std::strerror(errno);
    return {};
  }
  const winsize size = {24, 80, 0, 0};
  ioctl(terminal, TIOCSWINSZ, &size);
  CProcess running(*this, arguments, ptsname(terminal));
  std::string shown;
  // Reading fails when the program has closed the other end.
  char buffer[4096];
  for (ssize_t got; (got = read(terminal, buffer, sizeof buffer)) > 0;)
    shown.append(buffer, static_cast<std::size_t>(got));
  close(terminal);
  SRunResult result = running.Wait();
  result.err = shown;
  return result;
}

SRunResult CProgram::RunWithDatabase(std::vector<std::string> arguments) {
  arguments.insert(arguments.end(), {"--db", Database()});
  return Run(arguments);
}
