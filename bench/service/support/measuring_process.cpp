#include "bench/service/support/measuring_process.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#include "bench/service/support/cache.h"

namespace qvbench {

CMeasuringProcess::CMeasuringProcess(const std::function<CRound()>& prepare) {
  int commands[2], answers[2];
  if (pipe(commands) != 0 || pipe(answers) != 0) Fail("no pipe");
  m_child = fork();
  if (m_child < 0) Fail("no process");
  if (m_child == 0) {
    close(commands[1]);
    close(answers[0]);
    Serve(commands[0], answers[1], prepare);
  }
  close(commands[0]);
  close(answers[1]);
  m_commands = commands[1];
  m_answers = answers[0];
}

CMeasuringProcess::~CMeasuringProcess() {
  close(m_commands);
  close(m_answers);
  waitpid(m_child, nullptr, 0);
}

void CMeasuringProcess::Serve(int commands, int answers, const std::function<CRound()>& prepare) {
  {
    const CRound round = prepare();
    char command = 0;
    while (read(commands, &command, 1) == 1) {
      const double seconds = round();
      if (write(answers, &seconds, sizeof seconds) != sizeof seconds) break;
    }
  }
  std::_Exit(0);
}

double CMeasuringProcess::RunRound() {
  const char command = 1;
  double seconds = 0;
  if (write(m_commands, &command, 1) != 1 || read(m_answers, &seconds, sizeof seconds) != sizeof seconds) {
    Fail("the other process ended early");
  }
  return seconds;
}

}  // namespace qvbench
