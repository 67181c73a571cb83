#include "host/output/picture.h"

#include <fmt/format.h>
#include <png.h>

#include "host/file_extension.h"
#include "host/host_error.h"
#include "host/output/atomic_file.h"
#include "host/session/image_format_manager.h"
#include "imageformats/qvoutputformat.h"
#include "system/qvstatus.h"

namespace qvhost {
namespace {

// JPEG quality of a file that a user keeps; the cache's own streams use 0.8.
constexpr double kJpegQuality = 0.92;

void Require(std::int32_t status, const char* what) {
  if (status != kQvOk) throw CHostError(fmt::format("the JPEG file cannot be made: {} failed", what), kExitSomeFailed);
}

// The simplified API of libpng describes a picture by a plain record that png_image_free empties.
class CPngWriter {
 public:
  explicit CPngWriter(const SQvPicBuf& picture) : m_picture(picture) {
    m_image.version = PNG_IMAGE_VERSION;
    m_image.width = picture.width;
    m_image.height = picture.height;
    m_image.format = PNG_FORMAT_RGB;
  }
  CPngWriter(const CPngWriter&) = delete;
  CPngWriter& operator=(const CPngWriter&) = delete;
  ~CPngWriter() { png_image_free(&m_image); }

  std::string Encode() {
    png_alloc_size_t size = 0;
    Write(nullptr, &size);
    std::string bytes(size, '\0');
    Write(bytes.data(), &size);
    bytes.resize(size);
    return bytes;
  }

 private:
  void Write(void* memory, png_alloc_size_t* size) {
    const auto stride = static_cast<png_int_32>(m_picture.widthBytes);
    if (!png_image_write_to_memory(&m_image, memory, size, 0, m_picture.data, stride, nullptr)) {
      throw CHostError(fmt::format("the PNG file cannot be made: {}", m_image.message), kExitSomeFailed);
    }
  }

  const SQvPicBuf& m_picture;
  png_image m_image = {};
};

CQvByteArray EncodeJpeg(const SQvPicBuf& picture) {
  const CQvRef<IQvImageFormatManager> manager = CreateImageFormatManager();
  if (!manager) throw CHostError("the image formats are not installed");
  CQvRef<IQvImageCodec> codec;
  Require(manager->GetCodecByName("JPG", codec.Out()), "finding the codec");
  CQvByteArray bytes;
  CQvRef<IQvOutputImageFile> output;
  Require(codec->CreateOutputMemory(&bytes, output.Out()), "creating it");
  Require(output->SetPictureFormat(DescribeForOutput(picture), kJpegQuality), "describing the picture");
  Require(output->WritePicture(picture.data, 0, 0), "compressing");
  Require(output->Finish(), "finishing");
  output.Reset();  // before the bytes that it writes to
  return bytes;
}

}  // namespace

void CheckPictureFileName(const std::string& path) {
  const std::string extension = LowerCaseExtension(path);
  if (extension == ".png" || extension == ".jpg" || extension == ".jpeg") return;
  throw CHostError(fmt::format("cannot write a picture named {}: end the name in .jpg or .png", path));
}

void WritePictureFile(const SQvPicBuf& picture, const std::string& path) {
  CheckPictureFileName(path);
  CAtomicFile file(path);
  if (LowerCaseExtension(path) == ".png") {
    file.Write(CPngWriter(picture).Encode());
  } else {
    const CQvByteArray bytes = EncodeJpeg(picture);
    file.Write(bytes.GetData(0), bytes.GetSize());
  }
  file.Commit();
}

}  // namespace qvhost
