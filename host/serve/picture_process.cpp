#include "host/serve/picture_process.h"

#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <exception>

#include "host/host_error.h"
#include "host/output/picture.h"
#include "host/session/image_format_manager.h"
#include "host/session/session.h"
#include "host/thumbnails/sized_picture.h"

namespace qvhost {
namespace {

// What goes through the socket: a head, and so many bytes behind it. Both ends are the same program.
struct SRequestHead {
  std::uint32_t pathBytes = 0;
  std::uint32_t side = 0;
  SQvImageView view;
};
struct SAnswerHead {
  std::uint32_t bytes = 0;
  bool isPicture = false;  // else the bytes are the reason
};

bool SendBytes(int socket, const void* bytes, std::size_t size) {
  for (const char* at = static_cast<const char*>(bytes); size > 0;) {
    const ssize_t sent = send(socket, at, size, MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent <= 0) return false;
    at += sent;
    size -= static_cast<std::size_t>(sent);
  }
  return true;
}

bool ReceiveBytes(int socket, void* bytes, std::size_t size) {
  for (char* at = static_cast<char*>(bytes); size > 0;) {
    const ssize_t got = recv(socket, at, size, 0);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    at += got;
    size -= static_cast<std::size_t>(got);
  }
  return true;
}

bool AnswerOne(int socket, IQvImageFormatManager& manager) {
  SRequestHead head;
  if (!ReceiveBytes(socket, &head, sizeof head)) return false;
  std::string path(head.pathBytes, '\0');
  if (!ReceiveBytes(socket, path.data(), path.size())) return false;
  std::string reason, jpeg;
  try {
    SetProcessView(head.view);
    const CQvPicture picture = RenderSizedPicture(manager, path, head.side, false, &reason);
    if (picture.HasPixels()) jpeg = EncodeJpeg(*picture);
  } catch (const std::exception& error) {
    reason = error.what();
  }
  const std::string& text = jpeg.empty() ? reason : jpeg;
  const SAnswerHead answer{static_cast<std::uint32_t>(text.size()), !jpeg.empty()};
  return SendBytes(socket, &answer, sizeof answer) && SendBytes(socket, text.data(), text.size());
}

// Until the other end is closed. Ctrl-C at a terminal reaches both processes; the other one decides.
void AnswerAll(int socket) {
  std::signal(SIGINT, SIG_IGN);
  std::signal(SIGTERM, SIG_IGN);
  try {
    LoadComponents();
    if (const CQvRef<IQvImageFormatManager> manager = CreateImageFormatManager()) {
      while (AnswerOne(socket, *manager)) continue;
    }
  } catch (const std::exception&) {
    return;  // the other end finds the connection closed
  }
}

}  // namespace

CPictureProcess::CPictureProcess() {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) throw CHostError("cannot make a socket");
  m_process = fork();
  if (m_process == 0) {
    close(ends[0]);
    AnswerAll(ends[1]);
    _exit(0);
  }
  close(ends[1]);
  m_socket = ends[0];
  if (m_process < 0) {
    close(m_socket);
    throw CHostError("cannot start the process that renders large pictures");
  }
}

CPictureProcess::~CPictureProcess() {
  close(m_socket);
  while (waitpid(m_process, nullptr, 0) < 0 && errno == EINTR) continue;
}

std::string CPictureProcess::Render(const std::string& path, unsigned side, const SQvImageView& view,
                                    std::string* reason) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  const SRequestHead head{static_cast<std::uint32_t>(path.size()), side, view};
  SAnswerHead answer;
  std::string bytes;
  bool isThere = SendBytes(m_socket, &head, sizeof head) && SendBytes(m_socket, path.data(), path.size()) &&
                 ReceiveBytes(m_socket, &answer, sizeof answer);
  if (isThere) {
    bytes.resize(answer.bytes);
    isThere = ReceiveBytes(m_socket, bytes.data(), bytes.size());
  }
  if (isThere && answer.isPicture) return bytes;
  *reason = isThere ? bytes : "large pictures cannot be made any more; start again";
  return {};
}

}  // namespace qvhost
