#include "host/jobs/job_channel.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace qvhost {
namespace {

constexpr std::size_t kMostMessageBytes = 32768;

template <class Kind>
std::string KindByte(Kind kind) {
  return std::string(1, static_cast<char>(kind));
}

void AddNumber(std::string* bytes, std::uint32_t number) {
  bytes->append(reinterpret_cast<const char*>(&number), sizeof number);
}

std::uint32_t NumberAt(const std::string& bytes, std::size_t at) {
  std::uint32_t number = 0;
  std::memcpy(&number, bytes.data() + at, sizeof number);
  return number;
}

}  // namespace

CJobChannel::~CJobChannel() {
  if (m_socket >= 0) close(m_socket);
}

bool CJobChannel::Send(const SJobReport& report) const {
  std::string bytes = KindByte(report.kind);
  AddNumber(&bytes, report.number);
  return SendBytes(bytes + report.text.substr(0, kMostMessageBytes - bytes.size()));
}

bool CJobChannel::Send(const SJobOrder& order) const {
  std::string bytes = KindByte(order.kind);
  for (const std::uint32_t number : order.numbers) AddNumber(&bytes, number);
  return SendBytes(bytes);
}

std::optional<SJobReport> CJobChannel::ReceiveReport() const {
  const std::string bytes = ReceiveBytes();
  constexpr std::size_t kHead = 1 + sizeof(std::uint32_t);
  if (bytes.size() < kHead) return std::nullopt;
  return SJobReport{static_cast<SJobReport::EKind>(bytes[0]), NumberAt(bytes, 1), bytes.substr(kHead)};
}

std::optional<SJobOrder> CJobChannel::ReceiveOrder() const {
  const std::string bytes = ReceiveBytes();
  if (bytes.empty()) return std::nullopt;
  SJobOrder order{static_cast<SJobOrder::EKind>(bytes[0]), {}};
  for (std::size_t at = 1; at + sizeof(std::uint32_t) <= bytes.size(); at += sizeof(std::uint32_t)) {
    order.numbers.push_back(NumberAt(bytes, at));
  }
  return order;
}

void CJobChannel::StopReceiving() const noexcept { shutdown(m_socket, SHUT_RD); }

bool CJobChannel::SendBytes(const std::string& bytes) const {
  for (;;) {
    if (send(m_socket, bytes.data(), bytes.size(), MSG_NOSIGNAL) >= 0) return true;
    if (errno != EINTR) return false;
  }
}

std::string CJobChannel::ReceiveBytes() const {
  std::string bytes(kMostMessageBytes, '\0');
  for (;;) {
    const ssize_t got = recv(m_socket, bytes.data(), bytes.size(), 0);
    // An end that closes with something unread is told of once, before what it had sent.
    if (got < 0 && (errno == EINTR || errno == ECONNRESET)) continue;
    bytes.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    return bytes;
  }
}

}  // namespace qvhost
