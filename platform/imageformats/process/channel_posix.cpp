#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/imageformats/process/channel.h"

namespace imageformats {

namespace {

struct SHeader {
  std::uint32_t kind;
  std::uint32_t size;
};

// Well below what a socket takes at once.
constexpr std::size_t kPacketBytes = 60000;

using EResult = CChannel::EResult;

EResult FailureOf(int error) noexcept {
  return error == EAGAIN || error == EWOULDBLOCK ? EResult::kTick : EResult::kClosed;
}

union SControl {
  char bytes[CMSG_SPACE(sizeof(int))];
  cmsghdr align;
};

EResult SendPacket(int socket, iovec* parts, std::size_t count, int descriptor) noexcept {
  msghdr message{};
  message.msg_iov = parts;
  message.msg_iovlen = count;
  SControl control{};
  if (descriptor >= 0) {
    message.msg_control = control.bytes;
    message.msg_controllen = sizeof control.bytes;
    cmsghdr* header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(sizeof descriptor);
    std::memcpy(CMSG_DATA(header), &descriptor, sizeof descriptor);
  }
  ssize_t sent;
  do {
    sent = sendmsg(socket, &message, MSG_NOSIGNAL);
  } while (sent < 0 && errno == EINTR);
  return sent < 0 ? EResult::kClosed : EResult::kDone;
}

void TakeDescriptor(msghdr& message, CDescriptor& descriptor) noexcept {
  for (cmsghdr* header = CMSG_FIRSTHDR(&message); header != nullptr; header = CMSG_NXTHDR(&message, header)) {
    if (header->cmsg_level != SOL_SOCKET || header->cmsg_type != SCM_RIGHTS) continue;
    int fd = -1;
    std::memcpy(&fd, CMSG_DATA(header), sizeof fd);
    descriptor.Reset(fd);
  }
}

}  // namespace

CChannel::CChannel(CDescriptor socket, bool takesDescriptors) noexcept
    : m_socket(std::move(socket)), m_takesDescriptors(takesDescriptors) {}

void CChannel::SetTick(std::uint32_t milliseconds) noexcept {
  const timeval tick{milliseconds / 1000, milliseconds % 1000 * 1000};
  setsockopt(m_socket.Get(), SOL_SOCKET, SO_RCVTIMEO, &tick, sizeof tick);
  setsockopt(m_socket.Get(), SOL_SOCKET, SO_SNDTIMEO, &tick, sizeof tick);
}

EResult CChannel::Send(std::uint32_t kind, const std::vector<std::uint8_t>& content, int descriptor) noexcept {
  if (content.size() > kMostContent) return EResult::kClosed;
  SHeader header{kind, static_cast<std::uint32_t>(content.size())};
  std::size_t done = std::min(content.size(), kPacketBytes);
  auto* bytes = const_cast<std::uint8_t*>(content.data());
  iovec parts[] = {{&header, sizeof header}, {bytes, done}};
  if (SendPacket(m_socket.Get(), parts, 2, descriptor) != EResult::kDone) return EResult::kClosed;
  while (done < content.size()) {
    iovec part{bytes + done, std::min(content.size() - done, kPacketBytes)};
    if (SendPacket(m_socket.Get(), &part, 1, -1) != EResult::kDone) return EResult::kClosed;
    done += part.iov_len;
  }
  return EResult::kDone;
}

EResult CChannel::Receive(SMessage* message) {
  for (;;) {
    const EResult result = ReceivePacket(message);
    if (result != EResult::kDone) return result;
    if (!m_arriving) return EResult::kDone;
  }
}

EResult CChannel::ReceivePacket(SMessage* message) {
  m_packet.resize(sizeof(SHeader) + kPacketBytes);
  iovec part{m_packet.data(), m_packet.size()};
  msghdr arriving{};
  arriving.msg_iov = &part;
  arriving.msg_iovlen = 1;
  SControl control{};
  if (m_takesDescriptors) {
    arriving.msg_control = control.bytes;
    arriving.msg_controllen = sizeof control.bytes;
  }
  ssize_t size;
  // An end that closes with something unread is told of once, before what it had sent.
  do {
    size = recvmsg(m_socket.Get(), &arriving, MSG_CMSG_CLOEXEC);
  } while (size < 0 && (errno == EINTR || errno == ECONNRESET));
  if (size < 0) return FailureOf(errno);
  if (m_takesDescriptors) TakeDescriptor(arriving, message->descriptor);
  if (size == 0 || (arriving.msg_flags & MSG_TRUNC) != 0) return EResult::kClosed;
  return TakePacket(static_cast<std::size_t>(size), message);
}

EResult CChannel::TakePacket(std::size_t size, SMessage* message) {
  std::size_t skipped = 0;
  if (!m_arriving) {
    SHeader header;
    if (size < sizeof header) return EResult::kClosed;
    std::memcpy(&header, m_packet.data(), sizeof header);
    if (header.size > kMostContent) return EResult::kClosed;
    message->kind = header.kind;
    message->content.clear();
    m_expected = header.size;
    skipped = sizeof header;
  }
  // Packets are as large as they can be, so that nobody is kept busy with crumbs.
  if (size - skipped != std::min(m_expected - message->content.size(), kPacketBytes)) return EResult::kClosed;
  message->content.insert(message->content.end(), m_packet.begin() + static_cast<std::ptrdiff_t>(skipped),
                          m_packet.begin() + static_cast<std::ptrdiff_t>(size));
  m_arriving = message->content.size() < m_expected;
  return EResult::kDone;
}

}  // namespace imageformats
