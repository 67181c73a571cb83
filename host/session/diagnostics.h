#pragma once

#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include "system/qvdiag.h"

namespace qvhost {

// Collects what the components report, so that a failed operation can be explained. Safe from any thread.
class CDiagnostics {
 public:
  // The process's one collector. It is never destroyed, because a message may reach a former sink for a moment.
  static CDiagnostics& Get();

  // Installs the collector as the sink. With `print` every message also goes to standard error as it comes.
  void Install(bool print) noexcept;
  // The messages since the last call, each once, joined by "; ", without the service's prefixes. Empty when there were
  // none. What a CCallReports heard is not among them.
  std::string TakeMessages();

 private:
  CDiagnostics() = default;
  static void Sink(void* context, const SQvDiagMessage& message) noexcept;
  void Add(const SQvDiagMessage& message);

  std::mutex m_mutex;
  std::deque<std::string> m_messages;  // guarded by m_mutex; the last few
  bool m_print = false;                // set before any component runs
};

// Hears what the components report on this thread while it lives: the messages of the thread's own calls, apart from
// those of the workers. One at a time on a thread.
class CCallReports {
 public:
  CCallReports() noexcept;
  CCallReports(const CCallReports&) = delete;
  CCallReports& operator=(const CCallReports&) = delete;
  ~CCallReports();

  void Add(std::string text);
  // Each message once, joined by "; ".
  std::string Text() const;

 private:
  std::vector<std::string> m_messages;
};

// Why an operation of the service failed that had this status and reported this; empty when it succeeded. Throws
// CHostError for what every other operation would meet as well, so that it is told once: a full disk, a damaged file.
std::string ReasonOfFailure(std::int32_t status, const CCallReports& reports);

// Runs an operation of the service and tells why it failed; empty when it succeeded. The status alone does not say so:
// operations that change a row answer 0 and report what went wrong.
template <class Operation>
std::string FindFailure(const Operation& operation) {
  const CCallReports reports;
  const std::int32_t status = operation();
  return ReasonOfFailure(status, reports);
}

// Throws CHostError with `problem` and `reason` when there is a reason.
void RequireNoFailure(const char* problem, const std::string& reason);

// Runs an operation of the service. Throws CHostError with `problem` and the reason when it failed.
template <class Operation>
void RequireDone(const char* problem, const Operation& operation) {
  RequireNoFailure(problem, FindFailure(operation));
}

}  // namespace qvhost
