#include <numeric>
#include <utility>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/zarr/array/array_layout.h"

namespace imageformats::zarr {

namespace {

constexpr char kDamagedLayout[] = "The picture's description is damaged";

struct STypeName {
  const char* name;
  SStoredSamples::EKind kind;
  std::uint32_t bytes;
};

constexpr STypeName kTypeNames[] = {
    {"bool", SStoredSamples::EKind::kUnsigned, 1},   {"uint8", SStoredSamples::EKind::kUnsigned, 1},
    {"uint16", SStoredSamples::EKind::kUnsigned, 2}, {"uint32", SStoredSamples::EKind::kUnsigned, 4},
    {"uint64", SStoredSamples::EKind::kUnsigned, 8}, {"int8", SStoredSamples::EKind::kSigned, 1},
    {"int16", SStoredSamples::EKind::kSigned, 2},    {"int32", SStoredSamples::EKind::kSigned, 4},
    {"int64", SStoredSamples::EKind::kSigned, 8},    {"float16", SStoredSamples::EKind::kFloat, 2},
    {"float32", SStoredSamples::EKind::kFloat, 4},   {"float64", SStoredSamples::EKind::kFloat, 8},
};

void ReadDataType(const CJson* type, SArrayLayout& layout) {
  const std::string name = TextIn(type != nullptr && type->is_object() ? Member(type, "name") : type);
  for (const STypeName& known : kTypeNames) {
    if (name != known.name) continue;
    layout.samples.kind = known.kind;
    layout.samples.bytes = known.bytes;
    layout.isBoolean = name == "bool";
    return;
  }
  if (name.empty()) throw CDamagedError(kDamagedLayout);
  throw CUnsupportedError("Samples of the type " + name + " are not supported");
}

// A codec is an object, or its name alone.
std::string CodecName(const CJson& codec) {
  std::string name = TextIn(codec.is_string() ? &codec : Member(codec, "name"));
  constexpr std::string_view kOthers = "numcodecs.";
  if (name.rfind(kOthers, 0) == 0) name.erase(0, kOthers.size());
  return name;
}

bool IsBigEndian(const CJson& codec) { return TextIn(Member(Member(codec, "configuration"), "endian")) == "big"; }

bool ReadBytesCodec(const std::string& name, SArrayLayout& layout) {
  constexpr std::pair<const char*, EPacking> kNames[] = {
      {"gzip", EPacking::kGzip},       {"zlib", EPacking::kZlib}, {"zstd", EPacking::kZstd},
      {"blosc", EPacking::kBlosc},     {"lz4", EPacking::kLz4},   {"bz2", EPacking::kBzip2},
      {"crc32c", EPacking::kChecksum},
  };
  for (const auto& [known, packing] : kNames) {
    if (name != known) continue;
    layout.packing.push_back(packing);
    return true;
  }
  return false;
}

void ReadIndexCodecs(const CJson* codecs, SSharding& sharding) {
  for (const CJson& codec : Elements(codecs)) {
    const std::string name = CodecName(codec);
    if (name == "bytes") {
      sharding.indexIsBigEndian = IsBigEndian(codec);
    } else if (name == "crc32c") {
      sharding.indexHasChecksum = true;
    } else {
      throw CUnsupportedError("An index of shards packed with " + name + " is not supported");
    }
  }
}

void ReadCodecs(const CJson* codecs, bool isInShard, SArrayLayout& layout);

// `layout.chunk` is the shard's shape so far.
void ReadSharding(const CJson* configuration, SArrayLayout& layout) {
  const auto inner = SizesIn(Member(configuration, "chunk_shape"));
  Require(inner && inner->size() == layout.chunk.size(), kDamagedLayout);
  SSharding& sharding = layout.sharding.emplace();
  for (std::size_t i = 0; i < inner->size(); ++i) {
    const std::uint64_t size = (*inner)[i];
    Require(size != 0 && layout.chunk[i] % size == 0, "The picture's shards are damaged");
    sharding.chunksPerShard.push_back(layout.chunk[i] / size);
  }
  layout.chunk = *inner;
  sharding.indexAtStart = TextIn(Member(configuration, "index_location")) == "start";
  ReadIndexCodecs(Member(configuration, "index_codecs"), sharding);
  ReadCodecs(Member(configuration, "codecs"), true, layout);
}

// A transposition's axes in the order in which they come out of the ones before it.
std::vector<std::uint64_t> Transposed(const CJson* configuration, const std::vector<std::uint64_t>& order) {
  const CJson* asked = Member(configuration, "order");
  std::vector<std::uint64_t> result(order.rbegin(), order.rend());
  if (TextIn(asked) == "F") return result;
  if (TextIn(asked) == "C") return order;
  const auto axes = SizesIn(asked);
  Require(axes && axes->size() == order.size(), "The order of the axes is damaged");
  for (std::size_t i = 0; i < axes->size(); ++i) {
    Require((*axes)[i] < order.size(), "The order of the axes is damaged");
    result[i] = order[static_cast<std::size_t>((*axes)[i])];
  }
  return result;
}

void ReadCodecs(const CJson* codecs, bool isInShard, SArrayLayout& layout) {
  std::vector<std::uint64_t> order(layout.chunk.size());
  std::iota(order.begin(), order.end(), 0);
  bool isBytes = false, isTransposed = false;
  for (const CJson& codec : Elements(codecs)) {
    const CJson* configuration = Member(codec, "configuration");
    const std::string name = CodecName(codec);
    if (name == "transpose" && !isBytes) {
      order = Transposed(configuration, order);
      isTransposed = true;
    } else if ((name == "bytes" || name == "endian") && !isBytes) {
      layout.samples.bigEndian = IsBigEndian(codec);
      isBytes = true;
    } else if (name == "sharding_indexed" && !isBytes && !isInShard && !isTransposed) {
      ReadSharding(configuration, layout);
      isBytes = true;
    } else if (!isBytes || (layout.sharding && !isInShard) || !ReadBytesCodec(name, layout)) {
      throw CUnsupportedError("The codec " + name + " is not supported in this place");
    }
  }
  Require(isBytes, kDamagedLayout);
  if (isInShard || !layout.sharding) layout.strides = StridesInOrder(layout.chunk, order);
}

}  // namespace

SArrayLayout LayoutOfVersion3(const CJson& description) {
  SArrayLayout layout;
  const CJson* grid = Member(description, "chunk_grid");
  const auto shape = SizesIn(Member(description, "shape"));
  const auto chunk = SizesIn(Member(Member(grid, "configuration"), "chunk_shape"));
  Require(grid != nullptr && shape, kDamagedLayout);
  const std::string gridName = TextIn(Member(grid, "name"));
  if (gridName != "regular") throw CUnsupportedError("Chunks in a " + gridName + " grid are not supported");
  Require(chunk.has_value() && chunk->size() == shape->size(), kDamagedLayout);
  layout.shape = *shape;
  layout.chunk = *chunk;
  ReadDataType(Member(description, "data_type"), layout);
  ReadCodecs(Member(description, "codecs"), false, layout);
  layout.fill = FillValue(Member(description, "fill_value"), layout.samples);
  const CJson* encoding = Member(description, "chunk_key_encoding");
  const bool isDefault = TextIn(Member(encoding, "name")) != "v2";
  const std::string separator = TextIn(Member(Member(encoding, "configuration"), "separator"));
  layout.keyPrefix.assign(isDefault ? 1 : 0, 'c');
  layout.separator = separator.empty() ? (isDefault ? '/' : '.') : separator[0];
  Require(layout.separator == '/' || layout.separator == '.', kDamagedLayout);
  CheckLayout(layout);
  return layout;
}

}  // namespace imageformats::zarr
