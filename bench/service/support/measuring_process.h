#pragma once

#include <sys/types.h>

#include <functional>

namespace qvbench {

// Measures in a process of its own, because a process has one service only. `prepare` runs in the child and gives what
// a round is; a round returns the seconds that it measured.
class CMeasuringProcess {
 public:
  using CRound = std::function<double()>;
  explicit CMeasuringProcess(const std::function<CRound()>& prepare);
  ~CMeasuringProcess();
  CMeasuringProcess(const CMeasuringProcess&) = delete;
  CMeasuringProcess& operator=(const CMeasuringProcess&) = delete;

  double RunRound();

 private:
  [[noreturn]] static void Serve(int commands, int answers, const std::function<CRound()>& prepare);

  pid_t m_child = -1;
  int m_commands = -1;
  int m_answers = -1;
};

}  // namespace qvbench
