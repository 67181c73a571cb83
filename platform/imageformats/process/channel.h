#pragma once

#include <cstdint>
#include <vector>

#include "platform/imageformats/process/descriptor.h"

namespace imageformats {

struct SMessage {
  std::uint32_t kind = 0;
  std::vector<std::uint8_t> content;
  CDescriptor descriptor;  // at most one travels with a message
};

// One end of the connection between the viewer and a decoder: messages of any size up to kMostContent, in packets of a
// Unix socket. One thread at a time. A closed connection is an answer, never a signal.
class CChannel {
 public:
  // `takesDescriptors`: an end that does not want them never gets them, whatever the other end sends.
  CChannel(CDescriptor socket, bool takesDescriptors) noexcept;

  enum class EResult { kDone, kTick, kClosed };
  // kClosed also when the other end takes nothing for a tick. `descriptor` -1: none.
  EResult Send(std::uint32_t kind, const std::vector<std::uint8_t>& content, int descriptor = -1) noexcept;
  // The next message. kTick when nothing came for a tick: call again, with the same message. kClosed also for what is
  // no message. Memory is taken as content arrives, not as it is announced. Throws std::bad_alloc.
  EResult Receive(SMessage* message);

  // How long Send and Receive wait; 0: as long as it takes.
  void SetTick(std::uint32_t milliseconds) noexcept;

  static constexpr std::size_t kMostContent = 64u << 20;

 private:
  EResult ReceivePacket(SMessage* message);
  EResult TakePacket(std::size_t size, SMessage* message);

  CDescriptor m_socket;
  bool m_takesDescriptors;
  std::size_t m_expected = 0;  // bytes of the message that is arriving
  bool m_arriving = false;
  std::vector<std::uint8_t> m_packet;
};

}  // namespace imageformats
