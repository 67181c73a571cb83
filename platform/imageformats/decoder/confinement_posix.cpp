#include <fcntl.h>
#include <sched.h>
#include <seccomp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

#include "platform/imageformats/decoder/confinement.h"

namespace imageformats {

namespace {

#if defined(QV_DECODER_UNCONFINED)
constexpr bool kIsConfined = false;
#else
constexpr bool kIsConfined = true;
#endif

// Private memory: what one decoding may hold, the file's description, and the libraries.
constexpr rlim_t kMostMemory = 640u << 20;
constexpr rlim_t kMostFiles = 160;

bool Limit(__rlimit_resource_t resource, rlim_t most) {
  const rlimit limit{most, most};
  return setrlimit(resource, &limit) == 0;
}

bool LimitResources() {
  return Limit(RLIMIT_CORE, 0) && Limit(RLIMIT_FSIZE, 0) && Limit(RLIMIT_DATA, kMostMemory) &&
         Limit(RLIMIT_NOFILE, kMostFiles) && Limit(RLIMIT_MEMLOCK, 0);
}

// Landlock's interface (Linux 5.13 and later), as the kernel documents it: the system's headers may be older.
struct SLandlockRules {
  std::uint64_t files, network, scopes;
};
struct [[gnu::packed]] SLandlockFolder {
  std::uint64_t allowed;
  std::int32_t folder;
};
constexpr long kCreateRules = 444, kAddRule = 445, kRestrictSelf = 446;
constexpr unsigned kAskVersion = 1;
constexpr int kBelowFolder = 1;
constexpr std::uint64_t kReadFile = 1u << 2, kReadFolder = 1u << 3;

SLandlockRules RulesOf(long version) {
  SLandlockRules rules{(1u << 13) - 1, 0, 0};
  if (version >= 2) rules.files |= 1u << 13;  // moving and linking
  if (version >= 3) rules.files |= 1u << 14;  // truncating
  if (version >= 4) rules.network = 3;        // listening, connecting
  if (version >= 5) rules.files |= 1u << 15;  // devices
  if (version >= 6) rules.scopes = 3;         // other processes' sockets and signals
  return rules;
}

std::size_t SizeOfRules(long version) { return version >= 6 ? 24 : version >= 4 ? 16 : 8; }

bool RestrictFiles(int folder) {
  const long version = syscall(kCreateRules, nullptr, 0, kAskVersion);
  if (version < 1) return true;
  const SLandlockRules rules = RulesOf(version);
  const int handle = static_cast<int>(syscall(kCreateRules, &rules, SizeOfRules(version), 0));
  if (handle < 0) return false;
  const SLandlockFolder below{kReadFile | kReadFolder, folder};
  const bool done =
      (folder < 0 || syscall(kAddRule, handle, kBelowFolder, &below, 0) == 0) && syscall(kRestrictSelf, handle, 0) == 0;
  close(handle);
  return done;
}

// What decoding takes. Everything else fails with EPERM.
constexpr int kCalls[] = {
    SCMP_SYS(read),         SCMP_SYS(pread64),         SCMP_SYS(readv),
    SCMP_SYS(write),        SCMP_SYS(writev),          SCMP_SYS(lseek),
    SCMP_SYS(close),        SCMP_SYS(fstat),           SCMP_SYS(newfstatat),
    SCMP_SYS(statx),        SCMP_SYS(recvmsg),         SCMP_SYS(sendmsg),
    SCMP_SYS(brk),          SCMP_SYS(munmap),          SCMP_SYS(mremap),
    SCMP_SYS(madvise),      SCMP_SYS(futex),           SCMP_SYS(clock_gettime),
    SCMP_SYS(clock_getres), SCMP_SYS(gettimeofday),    SCMP_SYS(time),
    SCMP_SYS(getpid),       SCMP_SYS(gettid),          SCMP_SYS(getrandom),
    SCMP_SYS(rt_sigreturn), SCMP_SYS(rt_sigprocmask),  SCMP_SYS(rt_sigaction),
    SCMP_SYS(sigaltstack),  SCMP_SYS(sched_yield),     SCMP_SYS(sched_getaffinity),
    SCMP_SYS(sysinfo),      SCMP_SYS(getrusage),       SCMP_SYS(restart_syscall),
    SCMP_SYS(rseq),         SCMP_SYS(membarrier),      SCMP_SYS(exit),
    SCMP_SYS(exit_group),   SCMP_SYS(set_robust_list),
};

// What a new thread shares with the others. It also inherits all that was given up.
constexpr std::uint64_t kThread = CLONE_VM | CLONE_FS | CLONE_FILES | CLONE_SIGHAND | CLONE_THREAD | CLONE_SYSVSEM |
                                  CLONE_SETTLS | CLONE_PARENT_SETTID | CLONE_CHILD_CLEARTID;

// What a library that opens files by path takes as well.
constexpr int kCallsOfSlides[] = {
    SCMP_SYS(access),     SCMP_SYS(faccessat), SCMP_SYS(faccessat2), SCMP_SYS(stat),    SCMP_SYS(lstat),
    SCMP_SYS(getdents64), SCMP_SYS(readlink),  SCMP_SYS(readlinkat), SCMP_SYS(getcwd),  SCMP_SYS(fcntl),
    SCMP_SYS(geteuid),    SCMP_SYS(getuid),    SCMP_SYS(getgid),     SCMP_SYS(getegid), SCMP_SYS(uname),
    SCMP_SYS(pwrite64),   SCMP_SYS(fadvise64),
};

class CCallFilter {
 public:
  CCallFilter() : m_filter(seccomp_init(SCMP_ACT_ERRNO(EPERM))), m_sound(m_filter != nullptr) {}
  CCallFilter(const CCallFilter&) = delete;
  CCallFilter& operator=(const CCallFilter&) = delete;
  ~CCallFilter() { seccomp_release(m_filter); }

  void Allow(int call) { Note(seccomp_rule_add(m_filter, SCMP_ACT_ALLOW, call, 0)); }
  // As on a kernel that does not know the call.
  void Hide(int call) { Note(seccomp_rule_add(m_filter, SCMP_ACT_ERRNO(ENOSYS), call, 0)); }
  // Only when those bits of that argument are clear, or have that value.
  void AllowMasked(int call, unsigned argument, std::uint64_t mask, std::uint64_t value = 0) {
    const scmp_arg_cmp comparison{argument, SCMP_CMP_MASKED_EQ, mask, value};
    Note(seccomp_rule_add_array(m_filter, SCMP_ACT_ALLOW, call, 1, &comparison));
  }
  bool Load() { return m_sound && seccomp_load(m_filter) == 0; }

 private:
  void Note(int error) { m_sound = m_sound && error == 0; }
  scmp_filter_ctx m_filter;
  bool m_sound;
};

bool FilterCalls(bool opensFiles) {
  CCallFilter filter;
  for (const int call : kCalls) filter.Allow(call);
  // No new code.
  filter.AllowMasked(SCMP_SYS(mmap), 2, PROT_EXEC);
  filter.AllowMasked(SCMP_SYS(mprotect), 2, PROT_EXEC);
  // Threads, no processes; the newer call passes its flags in memory, where they cannot be looked at. Of themselves
  // they may say that they matter less.
  filter.AllowMasked(SCMP_SYS(clone), 0, ~std::uint64_t{0}, kThread);
  filter.Hide(SCMP_SYS(clone3));
  filter.AllowMasked(SCMP_SYS(setpriority), 1, 0xFFFFFFFFu);
  // abort() signals its own process, and no other.
  filter.AllowMasked(SCMP_SYS(tgkill), 0, 0xFFFFFFFFu, static_cast<std::uint64_t>(getpid()));
  if (opensFiles) {
    for (const int call : kCallsOfSlides) filter.Allow(call);
    constexpr std::uint64_t kChanging = O_WRONLY | O_RDWR | O_CREAT | O_TRUNC | O_APPEND;
    filter.AllowMasked(SCMP_SYS(openat), 2, kChanging);
    filter.AllowMasked(SCMP_SYS(open), 1, kChanging);
  }
  return filter.Load();
}

}  // namespace

bool Confine(int folder) {
  if (!kIsConfined) return true;
  return LimitResources() && prctl(PR_SET_DUMPABLE, 0) == 0 && prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         RestrictFiles(folder) && FilterCalls(folder >= 0);
}

}  // namespace imageformats
