#include <unistd.h>

#include <cerrno>

#include "platform/system/diagnostics.h"
#include "platform/system/mutex.h"

namespace {
// The kernel keeps only short writes to a pipe together.
constinit CMutex g_outputMutex;
}  // namespace

void WriteStandardError(std::string_view text) noexcept {
  const CMutexLock lock(g_outputMutex);
  while (!text.empty()) {
    const ssize_t written = ::write(STDERR_FILENO, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
}
