#include <algorithm>
#include <cstring>

#include "tools/samples/exports.h"
#include "tools/samples/jpeg_encoder.h"

namespace {

// Elements with their types, little-endian.
class CDicomElements {
 public:
  void Text(std::uint32_t tag, const char* type, std::string text, char padding = ' ') {
    if (text.size() % 2 != 0) text.push_back(padding);
    Head(tag, type, static_cast<std::uint32_t>(text.size()));
    m_bytes.insert(m_bytes.end(), text.begin(), text.end());
  }
  void Short(std::uint32_t tag, int value) {
    Head(tag, "US", 2);
    Put(static_cast<std::uint32_t>(value), 2);
  }
  void Long(std::uint32_t tag, std::size_t value) {
    Head(tag, "UL", 4);
    Put(static_cast<std::uint32_t>(value), 4);
  }
  void Item(const CBytes& bytes) {
    Head(0xFFFEE000, "", static_cast<std::uint32_t>(bytes.size() + bytes.size() % 2));
    m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
    if (bytes.size() % 2 != 0) m_bytes.push_back(0);
  }
  void Head(std::uint32_t tag, const char* type, std::uint32_t length) {
    Put(tag >> 16, 2);
    Put(tag & 0xFFFF, 2);
    m_bytes.insert(m_bytes.end(), type, type + std::strlen(type));
    const bool isLong = std::strcmp(type, "OB") == 0;
    if (isLong) Put(0, 2);
    Put(length, isLong || *type == '\0' ? 4 : 2);
  }
  const CBytes& Bytes() const { return m_bytes; }

 private:
  void Put(std::uint32_t value, int size) {
    for (int i = 0; i < size; ++i) m_bytes.push_back(static_cast<std::uint8_t>(value >> 8 * i));
  }
  CBytes m_bytes;
};

// White beyond the picture.
SRgbImage TileOf(const SRgbImage& image, int x0, int y0, int side) {
  SRgbImage tile(side, side);
  std::fill(tile.pixels.begin(), tile.pixels.end(), std::uint8_t{255});
  for (int y = 0; y < std::min(side, image.height - y0); ++y) {
    const int count = std::min(side, image.width - x0);
    std::copy_n(image.Pixel(x0, y0 + y), 3 * count, tile.Pixel(0, y));
  }
  return tile;
}

void DescribeSlide(CDicomElements& elements, const SRgbImage& image, int side, double micrometres, int tiles) {
  elements.Text(0x00080008, "CS", "ORIGINAL\\PRIMARY\\VOLUME\\NONE");
  elements.Text(0x0008002A, "DT", "20240513091200");
  elements.Text(0x00080060, "CS", "SM");
  elements.Text(0x00080070, "LO", "Slide scanner works");
  elements.Text(0x00209311, "CS", "TILED_FULL");
  elements.Short(0x00280002, 3);
  elements.Text(0x00280004, "CS", "YBR_FULL_422");
  elements.Short(0x00280006, 0);
  elements.Text(0x00280008, "IS", std::to_string(tiles));
  elements.Short(0x00280010, side);
  elements.Short(0x00280011, side);
  const std::string spacing = std::to_string(micrometres / 1000);
  elements.Text(0x00280030, "DS", spacing + "\\" + spacing);
  elements.Short(0x00280100, 8);
  elements.Short(0x00280101, 8);
  elements.Short(0x00280102, 7);
  elements.Short(0x00280103, 0);
  elements.Long(0x00480006, static_cast<std::size_t>(image.width));
  elements.Long(0x00480007, static_cast<std::size_t>(image.height));
  elements.Text(0x00480112, "DS", "20");
}

}  // namespace

CBytes EncodeDicomSlide(const SRgbImage& image, int side, double micrometres) {
  const int across = (image.width + side - 1) / side, down = (image.height + side - 1) / side;
  CDicomElements syntax, meta, slide;
  syntax.Text(0x00020010, "UI", "1.2.840.10008.1.2.4.50", '\0');
  meta.Long(0x00020000, syntax.Bytes().size());
  DescribeSlide(slide, image, side, micrometres, across * down);
  slide.Head(0x7FE00010, "OB", 0xFFFFFFFF);
  slide.Item({});
  for (int i = 0; i < across * down; ++i) {
    slide.Item(EncodeJpeg(TileOf(image, i % across * side, i / across * side, side)));
  }
  slide.Head(0xFFFEE0DD, "", 0);
  CBytes file(132);
  std::copy_n("DICM", 4, file.begin() + 128);
  for (const CDicomElements* part : {&meta, &syntax, &slide}) {
    file.insert(file.end(), part->Bytes().begin(), part->Bytes().end());
  }
  return file;
}
