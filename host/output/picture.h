#pragma once

#include <string>

#include "host/output/output_target.h"
#include "picture/qvpicture.h"

namespace qvhost {

// Where a picture is to go: a file whose name ends in .png, .jpg or .jpeg, or a stream. Throws CHostError when that
// cannot be; a file is replaced only when it is a picture that this program wrote.
COutputTarget PictureTarget(const std::string& name);

// A copy with pixels of its own. Throws std::bad_alloc.
CQvPicture CopyPicture(const SQvPicBuf& picture);

// Writes an 8-bit RGB picture, marked as this program's: a JPEG under a name that ends so, else a PNG. Throws
// CHostError.
void WritePicture(const SQvPicBuf& picture, const COutputTarget& target);
// The same of a picture that is a JPEG stream already.
void WriteJpeg(std::string jpeg, const COutputTarget& target);

// An 8-bit RGB picture as a JPEG stream. Throws CHostError.
std::string EncodeJpeg(const SQvPicBuf& picture);

}  // namespace qvhost
