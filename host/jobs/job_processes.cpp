#include "host/jobs/job_processes.h"

#include <fmt/format.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

#include "host/host_error.h"

namespace qvhost {
namespace {

int WaitForProcess(pid_t process) {
  int status = 0;
  while (waitpid(process, &status, 0) < 0 && errno == EINTR) continue;
  return status;
}

[[noreturn]] void FailToStart() {
  throw CHostError(fmt::format("cannot start another process: {}; give fewer --jobs", std::strerror(errno)));
}

void EndWith(pid_t parent) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(0);
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) std::signal(number, SIG_IGN);
}

}  // namespace

CJobProcesses::CJobProcesses(const std::vector<CWork>& works) {
  for (const CWork& work : works) Start(work);
}

void CJobProcesses::Start(const CWork& work) {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) FailToStart();
  m_processes.push_back({CJobChannel(ends[0])});
  const CJobChannel theirs(ends[1]);
  const pid_t parent = getpid();
  const pid_t id = fork();
  if (id < 0) FailToStart();
  if (id == 0) {
    EndWith(parent);
    // The ends that lead to the others.
    for (const SProcess& process : m_processes) close(process.channel.Socket());
    work(theirs);
    _exit(0);
  }
  m_processes.back().id = id;
}

CJobProcesses::~CJobProcesses() {
  for (const SProcess& process : m_processes) {
    if (process.id < 0) continue;
    kill(process.id, SIGKILL);
    WaitForProcess(process.id);
  }
}

std::string CJobProcesses::WaitForEnd(std::size_t number) {
  const int status = WaitForProcess(m_processes[number].id);
  m_processes[number].id = -1;
  if (!WIFSIGNALED(status)) return fmt::format("exit status {}", WEXITSTATUS(status));
  return fmt::format("signal {} ({})", WTERMSIG(status), strsignal(WTERMSIG(status)));
}

}  // namespace qvhost
