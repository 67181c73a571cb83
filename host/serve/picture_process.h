#pragma once

#include <sys/types.h>

#include <mutex>
#include <string>

#include "host/session/image_view.h"

namespace qvhost {

// Renders large pictures of chosen planes in a process of its own: which planes are shown is a setting of a process,
// and that of the thumbnails must not change. Any thread; one picture at a time.
class CPictureProcess {
 public:
  // Starts it, as a copy of this process, which must have no other threads yet. Throws CHostError.
  CPictureProcess();
  CPictureProcess(const CPictureProcess&) = delete;
  CPictureProcess& operator=(const CPictureProcess&) = delete;
  // Waits for its end.
  ~CPictureProcess();

  // A JPEG stream of the picture, no side of it longer than `side` pixels and none enlarged; empty, with the reason,
  // when there is none.
  std::string Render(const std::string& path, unsigned side, const SQvImageView& view, std::string* reason);

 private:
  std::mutex m_mutex;
  int m_socket = -1;
  pid_t m_process = -1;
};

}  // namespace qvhost
