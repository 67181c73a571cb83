#pragma once

#include <optional>
#include <string>

#include "host/output/output_file.h"
#include "host/output/output_target.h"
#include "picture/qvpicture.h"

namespace qvhost {

// Quality of a JPEG file that a user keeps, in percent; the cache's own streams are made with 80.
constexpr int kJpegQuality = 92;

enum class EPictureFormat { Png, Jpeg };
struct SPictureFormat {
  EPictureFormat format = EPictureFormat::Png;
  int jpegQuality = kJpegQuality;  // 1 to 100
};

// What the name of a file asks for, .png, .jpg or .jpeg; nothing for any other name.
std::optional<EPictureFormat> FormatOfName(const std::string& name);

// Where a picture is to go: a file whose name ends as a picture's, or a stream. Throws CHostError when that cannot be;
// a file is replaced only when it is a picture that this program wrote.
COutputTarget PictureTarget(const std::string& name);
// The same for a picture whose format is settled, whatever the name.
COutputTarget AnyPictureTarget(const std::string& name);

// A copy with pixels of its own. Throws std::bad_alloc.
CQvPicture CopyPicture(const SQvPicBuf& picture);

// Writes an 8-bit RGB picture, marked as this program's. Throws CHostError.
void WritePicture(const SQvPicBuf& picture, const COutputTarget& target, const SPictureFormat& format,
                  EPlacing placing = EPlacing::Renamed);
// The same in the format that the target's name asks for, a PNG into a stream.
void WritePicture(const SQvPicBuf& picture, const COutputTarget& target);
// The same of a picture that is a JPEG stream already.
void WriteJpeg(std::string jpeg, const COutputTarget& target);

// An 8-bit RGB picture as a JPEG stream of that quality, 1 to 100. Throws CHostError.
std::string EncodeJpeg(const SQvPicBuf& picture, int quality = kJpegQuality);

}  // namespace qvhost
