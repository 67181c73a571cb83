#pragma once

#include <cstdint>
#include <deque>
#include <mutex>
#include <string>

#include "system/qvdiag.h"

namespace qvhost {

// Collects what the components report, so that a failed operation can be explained. Safe from any thread.
class CDiagnostics {
 public:
  // The process's one collector. It is never destroyed, because a message may reach a former sink for a moment.
  static CDiagnostics& Get();

  // Installs the collector as the sink. With `print` every message also goes to standard error as it comes.
  void Install(bool print) noexcept;
  // The messages since the last call, each once, joined by "; ", without the service's prefix. Empty when there were
  // none.
  std::string TakeMessages();

 private:
  CDiagnostics() = default;
  static void Sink(void* context, const SQvDiagMessage& message) noexcept;
  void Add(const SQvDiagMessage& message);

  std::mutex m_mutex;
  std::deque<std::string> m_messages;  // guarded by m_mutex; the last few
  bool m_print = false;                // set before any component runs
};

// Throws CHostError with `problem` and the messages when an operation of the service did not succeed.
void RequireOk(std::int32_t status, const char* problem);

}  // namespace qvhost
