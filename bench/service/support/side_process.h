#pragma once

#include <sys/types.h>

#include <functional>

namespace qvbench {

// One side of a comparison in a process of its own, because a process has one service only. `prepare` runs in the
// child and gives what a round is; a round returns the seconds that it measured.
class CSideProcess {
 public:
  using Round = std::function<double()>;
  explicit CSideProcess(const std::function<Round()>& prepare);
  ~CSideProcess();
  CSideProcess(const CSideProcess&) = delete;
  CSideProcess& operator=(const CSideProcess&) = delete;

  double RunRound();

 private:
  [[noreturn]] static void Serve(int commands, int answers, const std::function<Round()>& prepare);

  pid_t m_child = -1;
  int m_commands = -1;
  int m_answers = -1;
};

}  // namespace qvbench
