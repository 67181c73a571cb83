#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "host/output/fitted_size.h"
#include "host/session/read_ahead.h"

namespace qvhost {

// Renders larger pictures of a list of files, on threads of its own and some way ahead of whoever takes them. The
// components must be loaded, and the process has the view that is wanted. For one thread.
class CLargerPictures {
 public:
  // `files`: absolute paths; an empty one has no picture. `side`: no side of a picture is longer, in pixels.
  // `thumbnail`: the box of the thumbnails; what fits into it has no larger picture.
  CLargerPictures(std::vector<std::string> files, std::uint32_t side, const SFittedSize& thumbnail, bool highQuality);
  CLargerPictures(const CLargerPictures&) = delete;
  CLargerPictures& operator=(const CLargerPictures&) = delete;

  // The picture of the nth file as a JPEG stream; waits for it. Empty when there is none, for whatever reason. To be
  // asked for with numbers that ascend, each once.
  std::string Take(std::size_t number);

 private:
  void Work(CReadAhead& ahead) noexcept;

  const std::vector<std::string> m_files;
  const std::uint32_t m_side;
  const SFittedSize m_thumbnail;
  const bool m_highQuality;
  std::vector<std::string> m_pictures;  // of each file, until it is taken; a thread's until it has told of it
  CReadAhead m_ahead;
};

}  // namespace qvhost
