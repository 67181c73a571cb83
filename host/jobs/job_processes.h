#pragma once

#include <sys/types.h>

#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "host/jobs/job_channel.h"

namespace qvhost {

// Copies of this process, each with a channel to it. What a terminal or a polite kill tells them to do they leave to
// this process, and they are ended with it, however it ends.
class CJobProcesses {
 public:
  // Starts them with one after the other of `works`. The process must have no other threads yet, and the thread that
  // calls must not end before the object. Throws CHostError.
  using CWork = std::function<void(const CJobChannel& channel)>;
  explicit CJobProcesses(const std::vector<CWork>& works);
  CJobProcesses(const CJobProcesses&) = delete;
  CJobProcesses& operator=(const CJobProcesses&) = delete;
  // Ends those that are still there at once.
  ~CJobProcesses();

  std::size_t Count() const noexcept { return m_processes.size(); }
  const CJobChannel& Channel(std::size_t number) const { return m_processes[number].channel; }
  // Waits for the end of one whose channel is closed. How it ended, for people: "signal 9 (Killed)".
  std::string WaitForEnd(std::size_t number);

 private:
  struct SProcess {
    CJobChannel channel;
    pid_t id = -1;  // -1: it was waited for
  };
  void Start(const CWork& work);

  std::deque<SProcess> m_processes;
};

}  // namespace qvhost
