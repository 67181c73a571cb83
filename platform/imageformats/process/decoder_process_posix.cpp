#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>

#include <cerrno>
#include <cstdlib>
#include <thread>

#include "platform/imageformats/process/decoder_process.h"
#include "platform/imageformats/process/protocol.h"

namespace imageformats {

namespace {

// How long an end is waited for. A process that a dead disk holds in the kernel is left to the system.
constexpr int kMostWaits = 2000;  // milliseconds

class CFileActions {
 public:
  CFileActions() noexcept { m_sound = posix_spawn_file_actions_init(&m_actions) == 0; }
  CFileActions(const CFileActions&) = delete;
  CFileActions& operator=(const CFileActions&) = delete;
  ~CFileActions() { posix_spawn_file_actions_destroy(&m_actions); }

  void Place(int from, int to) noexcept { Note(posix_spawn_file_actions_adddup2(&m_actions, from, to)); }
  void CloseFrom(int first) noexcept { Note(posix_spawn_file_actions_addclosefrom_np(&m_actions, first)); }
  void Null(int fd, int mode) noexcept { Note(posix_spawn_file_actions_addopen(&m_actions, fd, "/dev/null", mode, 0)); }
  const posix_spawn_file_actions_t* Get() const noexcept { return m_sound ? &m_actions : nullptr; }

 private:
  void Note(int error) noexcept { m_sound = m_sound && error == 0; }
  posix_spawn_file_actions_t m_actions;
  bool m_sound;
};

// No signal that the host blocks or ignores, and none that a terminal sends to the host's group.
class CSpawnAttributes {
 public:
  CSpawnAttributes() noexcept {
    posix_spawnattr_init(&m_attributes);
    sigset_t none, all;
    sigemptyset(&none);
    sigfillset(&all);
    posix_spawnattr_setsigmask(&m_attributes, &none);
    posix_spawnattr_setsigdefault(&m_attributes, &all);
    posix_spawnattr_setpgroup(&m_attributes, 0);
    posix_spawnattr_setflags(&m_attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
  }
  CSpawnAttributes(const CSpawnAttributes&) = delete;
  CSpawnAttributes& operator=(const CSpawnAttributes&) = delete;
  ~CSpawnAttributes() { posix_spawnattr_destroy(&m_attributes); }
  const posix_spawnattr_t* Get() const noexcept { return &m_attributes; }

 private:
  posix_spawnattr_t m_attributes;
};

// A copy above the numbers that the decoder's descriptors get, so that placing one does not overwrite another.
CDescriptor Lifted(CDescriptor descriptor) noexcept {
  return CDescriptor(fcntl(descriptor.Get(), F_DUPFD_CLOEXEC, kFolderHandle + 1));
}

// Cameras write local time.
std::string TimeZone() {
  const char* zone = getenv("TZ");
  return zone != nullptr ? std::string("TZ=") + zone : std::string();
}

pid_t Spawn(const std::string& program, const char* purpose, int socket, int lifeline, int folder) {
  CFileActions files;
  files.Null(STDIN_FILENO, O_RDONLY);
  files.Null(STDOUT_FILENO, O_WRONLY);
  files.Null(STDERR_FILENO, O_WRONLY);
  files.Place(socket, kSocketHandle);
  files.Place(lifeline, kLifelineHandle);
  if (folder >= 0) files.Place(folder, kFolderHandle);
  files.CloseFrom(folder >= 0 ? kFolderHandle + 1 : kFolderHandle);
  const CSpawnAttributes attributes;
  const char* arguments[] = {program.c_str(), purpose, nullptr};
  std::string zone = TimeZone();
  char* environment[] = {zone.empty() ? nullptr : zone.data(), nullptr};
  pid_t pid = -1;
  if (files.Get() == nullptr) return -1;
  const int error = posix_spawn(&pid, program.c_str(), files.Get(), attributes.Get(),
                                const_cast<char* const*>(arguments), environment);
  return error == 0 ? pid : -1;
}

std::string& ProgramForTest() {
  static std::string program;
  return program;
}

const char kOwnAddress = 0;

}  // namespace

std::unique_ptr<CDecoderProcess> CDecoderProcess::Start(const std::string& program, const char* purpose, int folder) {
  int sockets[2], pipes[2];
  if (program.empty() || socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, sockets) != 0) return nullptr;
  CDescriptor own(sockets[0]), its = Lifted(CDescriptor(sockets[1]));
  if (pipe2(pipes, O_CLOEXEC) != 0) return nullptr;
  CDescriptor lifeline(pipes[1]), itsLifeline = Lifted(CDescriptor(pipes[0]));
  const CDescriptor itsFolder(folder >= 0 ? fcntl(folder, F_DUPFD_CLOEXEC, kFolderHandle + 1) : -1);
  if (!its || !itsLifeline || (folder >= 0 && !itsFolder)) return nullptr;
  const pid_t pid = Spawn(program, purpose, its.Get(), itsLifeline.Get(), itsFolder.Get());
  if (pid < 0) return nullptr;
  return std::unique_ptr<CDecoderProcess>(new CDecoderProcess(std::move(own), std::move(lifeline), pid));
}

CDecoderProcess::CDecoderProcess(CDescriptor socket, CDescriptor lifeline, pid_t pid) noexcept
    : m_channel(std::move(socket), false),
      m_lifeline(std::move(lifeline)),
      m_handle(static_cast<int>(syscall(SYS_pidfd_open, pid, 0))),
      m_pid(pid),
      m_owner(getpid()) {}

CDecoderProcess::~CDecoderProcess() { End(); }

bool CDecoderProcess::IsOwn() const noexcept { return getpid() == m_owner; }

std::chrono::nanoseconds CDecoderProcess::ProcessorTime() const noexcept {
  clockid_t clock;
  timespec used{};
  if (clock_getcpuclockid(m_pid, &clock) != 0 || clock_gettime(clock, &used) != 0) return {};
  return std::chrono::seconds(used.tv_sec) + std::chrono::nanoseconds(used.tv_nsec);
}

// A host that waits for any child may have taken this one's number back: the handle is never another process's.
void CDecoderProcess::Kill() const noexcept {
  if (m_handle) {
    syscall(SYS_pidfd_send_signal, m_handle.Get(), SIGKILL, nullptr, 0);
  } else {
    kill(m_pid, SIGKILL);
  }
}

std::string CDecoderProcess::End() noexcept {
  if (m_ended || !IsOwn()) return "";
  m_ended = true;
  int status = 0;
  // One that has ended by itself is not yet to be waited for at the moment that its socket closes.
  pid_t ended = waitpid(m_pid, &status, WNOHANG);
  for (int i = 0; ended == 0 && i < kMostWaits; ++i) {
    if (i == 2) Kill();
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    ended = waitpid(m_pid, &status, WNOHANG);
  }
  if (ended != m_pid) return "unknown";
  return WIFSIGNALED(status) ? "signal " + std::to_string(WTERMSIG(status))
                             : "exit status " + std::to_string(WEXITSTATUS(status));
}

std::string DecoderProgram() {
  if (!ProgramForTest().empty()) return ProgramForTest();
  Dl_info info{};
  if (dladdr(&kOwnAddress, &info) == 0 || info.dli_fname == nullptr) return "";
  const std::string path = info.dli_fname;
  const std::size_t slash = path.find_last_of('/');
  return slash == std::string::npos ? "" : path.substr(0, slash + 1) + "qvthumbs-decoder";
}

void SetDecoderProgramForTest(const std::string& path) { ProgramForTest() = path; }

}  // namespace imageformats
