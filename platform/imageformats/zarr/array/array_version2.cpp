#include <algorithm>
#include <numeric>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/zarr/array/array_layout.h"

namespace imageformats::zarr {

namespace {

// NumPy's names: byte order, kind, bytes.
void ReadTypeName(const std::string& type, SArrayLayout& layout) {
  const char order = type.empty() ? '\0' : type[0];
  Require(type.size() >= 3 && (order == '<' || order == '>' || order == '|' || order == '='),
          "The picture's description is damaged");
  layout.samples.bigEndian = order == '>';
  const std::string size = type.substr(2);
  const bool isFloat = type[1] == 'f', isInteger = type[1] == 'u' || type[1] == 'i';
  const bool isKnown = (size == "1" && (type[1] == 'b' || isInteger)) || (size == "2" && (isFloat || isInteger)) ||
                       ((size == "4" || size == "8") && (isFloat || isInteger));
  if (!isKnown) throw CUnsupportedError("Samples of the type " + type + " are not supported");
  layout.samples.bytes = static_cast<std::uint32_t>(size[0] - '0');
  layout.isBoolean = type[1] == 'b';
  layout.samples.kind = isFloat          ? SStoredSamples::EKind::kFloat
                        : type[1] == 'i' ? SStoredSamples::EKind::kSigned
                                         : SStoredSamples::EKind::kUnsigned;
}

EPacking CompressorNamed(const std::string& id) {
  if (id == "gzip") return EPacking::kGzip;
  if (id == "zlib") return EPacking::kZlib;
  if (id == "zstd") return EPacking::kZstd;
  if (id == "blosc") return EPacking::kBlosc;
  if (id == "lz4") return EPacking::kLz4;
  if (id == "bz2") return EPacking::kBzip2;
  throw CUnsupportedError("The compression " + id + " is not supported");
}

void CheckFilters(const CJson* filters) {
  if (Elements(filters).empty()) return;
  throw CUnsupportedError("The filter " + TextIn(Member(Elements(filters).front(), "id")) + " is not supported");
}

}  // namespace

SArrayLayout LayoutOfVersion2(const CJson& description) {
  SArrayLayout layout;
  const auto shape = SizesIn(Member(description, "shape")), chunk = SizesIn(Member(description, "chunks"));
  Require(shape && chunk, "The picture's description is damaged");
  layout.shape = *shape;
  layout.chunk = *chunk;
  const CJson* type = Member(description, "dtype");
  if (type != nullptr && type->is_array()) throw CUnsupportedError("Samples of several parts are not supported");
  ReadTypeName(TextIn(type), layout);
  CheckFilters(Member(description, "filters"));
  if (const CJson* compressor = Member(description, "compressor"); compressor != nullptr && !compressor->is_null()) {
    layout.packing.push_back(CompressorNamed(TextIn(Member(compressor, "id"))));
  }
  std::vector<std::uint64_t> order(layout.chunk.size());
  std::iota(order.begin(), order.end(), 0);
  if (TextIn(Member(description, "order")) == "F") std::reverse(order.begin(), order.end());
  layout.strides = StridesInOrder(layout.chunk, order);
  layout.fill = FillValue(Member(description, "fill_value"), layout.samples);
  const std::string separator = TextIn(Member(description, "dimension_separator"));
  layout.isSeparatorKnown = !separator.empty();
  layout.separator = separator == "/" ? '/' : '.';
  CheckLayout(layout);
  return layout;
}

}  // namespace imageformats::zarr
