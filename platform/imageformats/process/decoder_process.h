#pragma once

#include <sys/types.h>

#include <chrono>
#include <memory>
#include <string>

#include "platform/imageformats/process/channel.h"

namespace imageformats {

// A running decoder, and the only owner of it: it ends with this object. One thread at a time.
class CDecoderProcess {
 public:
  // Starts the program with nothing of the host's but the descriptors of protocol.h: no environment but the time zone,
  // no other descriptor. `folder`: what a decoder of slides may read, else -1. Null when it cannot be started.
  static std::unique_ptr<CDecoderProcess> Start(const std::string& program, const char* purpose, int folder);
  CDecoderProcess(const CDecoderProcess&) = delete;
  CDecoderProcess& operator=(const CDecoderProcess&) = delete;
  ~CDecoderProcess();

  CChannel& Channel() noexcept { return m_channel; }
  // False in a copy of the process that started it.
  bool IsOwn() const noexcept;
  // Processor time used since its start; 0 when that cannot be said.
  std::chrono::nanoseconds ProcessorTime() const noexcept;
  // Ends it, if it has not ended, and says how it did: "signal 11", "exit status 1".
  std::string End() noexcept;

 private:
  CDecoderProcess(CDescriptor socket, CDescriptor lifeline, pid_t pid) noexcept;
  void Kill() const noexcept;

  CChannel m_channel;
  CDescriptor m_lifeline;
  CDescriptor m_handle;  // of the process, where the kernel has such
  pid_t m_pid;
  pid_t m_owner;
  bool m_ended = false;
};

// The decoder's program: beside the library (or program) that this code is in, never looked for in PATH.
std::string DecoderProgram();
void SetDecoderProgramForTest(const std::string& path);

}  // namespace imageformats
