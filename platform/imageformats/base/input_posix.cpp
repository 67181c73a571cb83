#include <unistd.h>

#include <cerrno>
#include <limits>

#include "platform/imageformats/base/input.h"

namespace imageformats {

std::size_t CInput::ReadFileAt(std::uint64_t offset, void* buffer, std::size_t size) const noexcept {
  std::size_t done = 0;
  while (done < size) {
    const std::uint64_t position = offset + done;
    if (position < offset || position > static_cast<std::uint64_t>(std::numeric_limits<off_t>::max())) break;
    const ssize_t count = pread(m_handle, static_cast<char*>(buffer) + done, size - done, static_cast<off_t>(position));
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) break;
    done += static_cast<std::size_t>(count);
  }
  return done;
}

}  // namespace imageformats
