#include "tests/host/support/program.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <thread>
#include <utility>

#include "tests/support/file_bytes.h"

using namespace qvtest;

namespace {

// The test's own environment, without what leads to the real user's files, and with `assignments`, which replace.
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
  // Of two values of a name a program reads the first.
  environment.insert(environment.end(), assignments.rbegin(), assignments.rend());
  return environment;
}

}  // namespace

nlohmann::json SRunResult::Json() const {
  auto document = nlohmann::json::parse(out, nullptr, false);
  EXPECT_FALSE(document.is_discarded()) << out << err;
  return document;
}

CProgram::CProgram() { m_environment = {"HOME=" + m_folder.MakeFolder("home"), "TZ=UTC0"}; }

CProgram::CProcess::CProcess(const CProgram& program, const std::vector<std::string>& arguments, const std::string& err,
                             std::vector<std::string> launcher) {
  static std::atomic<int> runs{0};
  const std::string run = "run" + std::to_string(++runs);
  m_out = program.m_folder.Path(run + ".out");
  m_err = err.empty() ? program.m_folder.Path(run + ".err") : err;
  SCommand command{std::move(launcher), Environment(program.m_environment), m_out, m_err};
  command.arguments.emplace_back(QVTHUMBS_PROGRAM);
  command.arguments.insert(command.arguments.end(), arguments.begin(), arguments.end());
  m_process.emplace(std::move(command));
}

SRunResult CProgram::CProcess::Wait() {
  const int status = m_process->Wait().status;
  const bool isFile = std::filesystem::is_regular_file(m_err);
  return {status, ReadTextFile(m_out), isFile ? ReadTextFile(m_err) : std::string()};
}

void CProgram::CProcess::WaitForLines(std::size_t count) const {
  constexpr int kTries = 1000;
  for (int i = 0; i < kTries; ++i) {
    const std::string printed = ReadTextFile(m_out);
    if (static_cast<std::size_t>(std::count(printed.begin(), printed.end(), '\n')) >= count) return;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
}

std::string CProgram::CProcess::FirstLine() const {
  WaitForLines(1);
  const std::string printed = ReadTextFile(m_out);
  return printed.substr(0, printed.find('\n'));
}

SRunResult CProgram::Run(const std::vector<std::string>& arguments) { return CProcess(*this, arguments).Wait(); }

SRunResult CProgram::RunOnTerminal(const std::vector<std::string>& arguments, unsigned short columns) {
  const int terminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  if (terminal < 0 || grantpt(terminal) != 0 || unlockpt(terminal) != 0) {
    ADD_FAILURE() << "no terminal: " << std::strerror(errno);
    return {};
  }
  const winsize size = {24, columns, 0, 0};
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

SRunResult CProgram::RunUnder(std::vector<std::string> launcher, const std::vector<std::string>& arguments) {
  return CProcess(*this, arguments, {}, std::move(launcher)).Wait();
}

SRunResult CProgram::RunWithDatabase(std::vector<std::string> arguments) {
  arguments.insert(arguments.end(), {"--db", Database()});
  return Run(arguments);
}
