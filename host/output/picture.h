#pragma once

#include <string>

#include "picture/qvpicbuf.h"

namespace qvhost {

// Owns a picture's pixels.
class CPicture {
 public:
  CPicture() noexcept { CQvPicBufAPI::Init(&m_picture); }
  CPicture(const CPicture&) = delete;
  CPicture& operator=(const CPicture&) = delete;
  ~CPicture() { CQvPicBufAPI::Free(&m_picture); }

  // 8 bits, 3 components. False when there is no memory.
  bool Reinit(std::uint32_t width, std::uint32_t height) noexcept {
    return CQvPicBufAPI::Reinit(&m_picture, width, height, 0, 8, 3, true) == 0;
  }
  SQvPicBuf* Get() noexcept { return &m_picture; }

 private:
  SQvPicBuf m_picture;
};

// Writes an 8-bit RGB picture to a file whose name ends in .png, .jpg or .jpeg; the file appears only when complete.
// Throws CHostError, also for another ending.
void WritePictureFile(const SQvPicBuf& picture, const std::string& path);

// Throws CHostError, which tells what endings there are, when WritePictureFile would not take the name.
void CheckPictureFileName(const std::string& path);

}  // namespace qvhost
