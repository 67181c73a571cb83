#include "host/output/picture.h"

#include <fmt/format.h>
#include <png.h>
#include <zlib.h>

#include <algorithm>
#include <new>
#include <string_view>

#include "host/file_extension.h"
#include "host/host_error.h"
#include "host/output/text.h"
#include "host/session/image_format_manager.h"
#include "imageformats/qvoutputformat.h"
#include "system/qvstatus.h"

namespace qvhost {
namespace {

// By these a picture is known as one that this program wrote.
constexpr std::string_view kPngMark("tEXtSoftware\0qvthumbs", 21);
constexpr std::string_view kJpegMark("\xFF\xFE\x00\x0Aqvthumbs", 12);

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

  // With room for the largest that it can become: asked for the size, the library would compress it for that alone.
  std::string Encode() {
    png_alloc_size_t size = PNG_IMAGE_PNG_SIZE_MAX(m_image);
    std::string bytes(size, '\0');
    const auto stride = static_cast<png_int_32>(m_picture.widthBytes);
    if (!png_image_write_to_memory(&m_image, bytes.data(), &size, 0, m_picture.data, stride, nullptr)) {
      throw CHostError(fmt::format("the PNG file cannot be made: {}", m_image.message), kExitSomeFailed);
    }
    bytes.resize(size);
    return bytes;
  }

 private:
  const SQvPicBuf& m_picture;
  png_image m_image = {};
};

std::string BigEndian(std::size_t value, int bytes) {
  std::string text;
  for (int i = bytes - 1; i >= 0; --i) text += static_cast<char>(value >> (8 * i) & 0xFF);
  return text;
}

// A text chunk behind the header chunk, which is the first (PNG, third edition, 11.3.3).
std::string MarkPng(std::string png) {
  constexpr std::size_t kHeaderEnd = 33;
  const auto crc = crc32(0, reinterpret_cast<const Bytef*>(kPngMark.data()), static_cast<uInt>(kPngMark.size()));
  std::string chunk = BigEndian(kPngMark.size() - 4, 4);
  chunk += kPngMark;
  return png.insert(kHeaderEnd, chunk + BigEndian(crc, 4));
}

// A comment behind the JFIF segment, which has to be the first (ITU-T T.871, 10.1).
std::string MarkJpeg(std::string jpeg) {
  std::size_t at = 2;
  if (jpeg.size() > 6 && jpeg[2] == '\xFF' && jpeg[3] == '\xE0') {
    at = 4 + (static_cast<unsigned char>(jpeg[4]) << 8 | static_cast<unsigned char>(jpeg[5]));
  }
  return jpeg.insert(std::min(at, jpeg.size()), kJpegMark);
}

bool IsOwnPicture(std::string_view head) {
  return (head.starts_with("\x89PNG") && head.find(kPngMark) != head.npos) ||
         (head.starts_with("\xFF\xD8") && head.find(kJpegMark) != head.npos);
}

void WriteWhole(const std::string& bytes, const COutputTarget& target, EPlacing placing = EPlacing::Renamed) {
  COutputFile file(target, placing);
  file.Write(bytes);
  file.Commit();
}

}  // namespace

std::optional<EPictureFormat> FormatOfName(const std::string& name) {
  const std::string extension = LowerCaseExtension(name);
  if (extension == ".png") return EPictureFormat::Png;
  if (extension == ".jpg" || extension == ".jpeg") return EPictureFormat::Jpeg;
  return std::nullopt;
}

COutputTarget AnyPictureTarget(const std::string& name) { return COutputTarget(name, &IsOwnPicture); }

COutputTarget PictureTarget(const std::string& name) {
  COutputTarget target = AnyPictureTarget(name);
  if (target.IsStream() || FormatOfName(name)) return target;
  throw CHostError(fmt::format("cannot write a picture named {}: end the name in .jpg or .png", Printable(name)));
}

CQvPicture CopyPicture(const SQvPicBuf& picture) {
  CQvPicture copy;
  if (!copy.Reinit(picture.width, picture.height, picture.bpc, picture.components, false)) throw std::bad_alloc();
  const auto* row = static_cast<const std::uint8_t*>(picture.data);
  const std::size_t bytes = std::min(picture.widthBytes, copy->widthBytes);
  for (std::uint32_t y = 0; y < picture.height; ++y, row += picture.widthBytes) std::copy_n(row, bytes, copy.Row(y));
  return copy;
}

std::string EncodeJpeg(const SQvPicBuf& picture, int quality) {
  const CQvRef<IQvImageFormatManager> manager = CreateImageFormatManager();
  if (!manager) throw CHostError("the image formats are not installed");
  CQvRef<IQvImageCodec> codec;
  Require(manager->GetCodecByName("JPG", codec.Out()), "finding the codec");
  CQvByteArray bytes;
  CQvRef<IQvOutputImageFile> output;
  Require(codec->CreateOutputMemory(&bytes, output.Out()), "creating it");
  Require(output->SetPictureFormat(DescribeForOutput(picture), quality / 100.0), "describing the picture");
  Require(output->WritePicture(picture.data, 0, 0), "compressing");
  Require(output->Finish(), "finishing");
  output.Reset();  // before the bytes that it writes to
  return {reinterpret_cast<const char*>(bytes.GetData(0)), bytes.GetSize()};
}

void WritePicture(const SQvPicBuf& picture, const COutputTarget& target, const SPictureFormat& format,
                  EPlacing placing) {
  const bool isJpeg = format.format == EPictureFormat::Jpeg;
  WriteWhole(isJpeg ? MarkJpeg(EncodeJpeg(picture, format.jpegQuality)) : MarkPng(CPngWriter(picture).Encode()),
             target, placing);
}

void WritePicture(const SQvPicBuf& picture, const COutputTarget& target) {
  WritePicture(picture, target, {FormatOfName(target.Name()).value_or(EPictureFormat::Png)});
}

void WriteJpeg(std::string jpeg, const COutputTarget& target) { WriteWhole(MarkJpeg(std::move(jpeg)), target); }

}  // namespace qvhost
