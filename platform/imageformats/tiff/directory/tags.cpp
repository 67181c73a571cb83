#include "platform/imageformats/tiff/directory/tags.h"

namespace imageformats::tiff {
namespace {

// A private tag as libtiff describes it: a counted array of the type that the file gives.
bool GetArray(TIFF* tiff, std::uint32_t tag, std::uint32_t* count, const void** data, TIFFDataType* type) {
  const TIFFField* field = TIFFFindField(tiff, tag, TIFF_ANY);
  if (!field || !TIFFFieldPassCount(field) || TIFFFieldReadCount(field) != TIFF_VARIABLE2) return false;
  void* values = nullptr;
  if (!TIFFGetField(tiff, tag, count, &values) || !values) return false;
  *data = values;
  *type = TIFFFieldDataType(field);
  return true;
}

}  // namespace

std::string TextTag(CTiffHandle& tiff, std::uint32_t tag) {
  const char* text = nullptr;
  if (!TIFFGetField(tiff.Get(), tag, &text) || !text) return {};
  std::string copy(text);
  copy.erase(copy.find_last_not_of(" \t\r\n") + 1);
  return copy;
}

std::span<const std::uint8_t> BytesTag(CTiffHandle& tiff, std::uint32_t tag) {
  std::uint32_t count = 0;
  const void* data = nullptr;
  TIFFDataType type = TIFF_NOTYPE;
  if (!GetArray(tiff.Get(), tag, &count, &data, &type)) return {};
  if (type != TIFF_BYTE && type != TIFF_UNDEFINED) return {};
  return {static_cast<const std::uint8_t*>(data), count};
}

std::span<const std::uint32_t> LongsTag(CTiffHandle& tiff, std::uint32_t tag) {
  std::uint32_t count = 0;
  const void* data = nullptr;
  TIFFDataType type = TIFF_NOTYPE;
  if (!GetArray(tiff.Get(), tag, &count, &data, &type) || type != TIFF_LONG) return {};
  return {static_cast<const std::uint32_t*>(data), count};
}

}  // namespace imageformats::tiff
