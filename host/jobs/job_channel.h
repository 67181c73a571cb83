#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace qvhost {

// What a job process tells.
struct SJobReport {
  enum class EKind : std::uint8_t {
    Made,
    Cached,
    Failed,   // with the reason
    Ended,    // all is done, or it was told to stop; the number: how many thumbnails came from the catalogue
    Stopped,  // nothing can be made any more, and why; the number: the exit status
  };
  EKind kind = EKind::Ended;
  std::uint32_t number = 0;  // of the file
  std::string text;
};

// What it is told.
struct SJobOrder {
  enum class EKind : std::uint8_t {
    Files,  // take these
    End,    // no more will come
    Stop,   // finish only what is in work
  };
  EKind kind = EKind::Stop;
  std::vector<std::uint32_t> numbers;
};

// One end of a socket that keeps messages apart, between two processes of one program. Both operations wait. One thread
// may send while another one receives.
class CJobChannel {
 public:
  CJobChannel() = default;
  // Takes the socket.
  explicit CJobChannel(int socket) noexcept : m_socket(socket) {}
  CJobChannel(CJobChannel&& other) noexcept : m_socket(other.m_socket) { other.m_socket = -1; }
  CJobChannel& operator=(CJobChannel&&) = delete;
  ~CJobChannel();

  int Socket() const noexcept { return m_socket; }

  // False when the other end is closed.
  bool Send(const SJobReport& report) const;
  bool Send(const SJobOrder& order) const;
  // Nothing when the other end is closed.
  std::optional<SJobReport> ReceiveReport() const;
  std::optional<SJobOrder> ReceiveOrder() const;
  // Ends a wait for what is received.
  void StopReceiving() const noexcept;

 private:
  bool SendBytes(const std::string& bytes) const;
  std::string ReceiveBytes() const;

  int m_socket = -1;
};

}  // namespace qvhost
