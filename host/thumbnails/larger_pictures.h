#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "host/output/fitted_size.h"

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
  // Stops, and waits for what is being rendered.
  ~CLargerPictures();

  // The picture of the nth file as a JPEG stream; waits for it. Empty when there is none, for whatever reason. To be
  // asked for with numbers that ascend, each once.
  std::string Take(std::size_t number);

 private:
  void Work() noexcept;
  bool Claim(std::size_t* number);
  void Tell(std::size_t number, std::string jpeg);

  const std::vector<std::string> m_files;
  const std::uint32_t m_side;
  const SFittedSize m_thumbnail;
  const bool m_highQuality;

  std::mutex m_mutex;
  std::condition_variable m_told, m_wanted;
  // Under the mutex.
  std::vector<std::string> m_pictures;  // of each file, until it is taken
  std::vector<char> m_isTold;           // of each file
  std::size_t m_next = 0, m_wantedNumber = 0;
  bool m_stop = false;

  std::vector<std::thread> m_threads;
};

}  // namespace qvhost
