#include "host/session/interrupt.h"

#include <csignal>

#include <atomic>

#include "host/host_error.h"

namespace qvhost {
namespace {

std::atomic<bool> g_requested{false};
static_assert(std::atomic<bool>::is_always_lock_free, "the flag is set by a signal handler");

extern "C" void OnSignal(int) { g_requested.store(true, std::memory_order_relaxed); }

}  // namespace

void CInterrupt::Install() noexcept {
  struct sigaction action = {};
  action.sa_handler = &OnSignal;
  // One use only, so that an impatient second Ctrl-C ends the program.
  action.sa_flags = static_cast<int>(SA_RESTART | SA_RESETHAND);
  sigemptyset(&action.sa_mask);
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
  // What was started to outlive its terminal (nohup) does.
  struct sigaction given = {};
  if (sigaction(SIGHUP, nullptr, &given) == 0 && given.sa_handler != SIG_IGN) sigaction(SIGHUP, &action, nullptr);
}

void CInterrupt::Request() noexcept { g_requested.store(true, std::memory_order_relaxed); }

bool CInterrupt::Requested() noexcept { return g_requested.load(std::memory_order_relaxed); }

void CInterrupt::ThrowIfRequested(const char* text) {
  if (Requested()) throw CHostError(text, kExitInterrupted);
}

}  // namespace qvhost
