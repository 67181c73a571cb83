#pragma once

#include <string>

#include "picture/qvpicbuf.h"

namespace qvhost {

// Writes an 8-bit RGB picture to a file whose name ends in .png, .jpg or .jpeg; the file appears only when complete.
// Throws CHostError, also for another ending.
void WritePictureFile(const SQvPicBuf& picture, const std::string& path);

// Throws CHostError, which tells what endings there are, when WritePictureFile would not take the name.
void CheckPictureFileName(const std::string& path);

}  // namespace qvhost
