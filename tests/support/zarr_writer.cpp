#include "tests/support/zarr_writer.h"

#include <blosc.h>
#include <bzlib.h>
#include <lz4.h>
#include <zlib.h>
#include <zstd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <stdexcept>

namespace qvtest {

namespace {

std::string Key(const std::string& folder, const std::string& name) {
  return folder.empty() ? name : folder + "/" + name;
}

std::size_t TypeBytes(const std::string& type) {
  if (type == "bool" || type.ends_with("int8")) return 1;
  return type.ends_with("16") ? 2 : type.ends_with("32") ? 4 : 8;
}

// NumPy's name.
std::string TypeName2(const SZarrArray& array) {
  const std::size_t bytes = TypeBytes(array.type);
  std::string name = bytes == 1 ? "|" : array.bigEndian ? ">" : "<";
  name += array.type == "bool" ? 'b' : array.type.starts_with("uint") ? 'u' : array.type[0];
  return name.append(std::to_string(bytes));
}

// Of whole numbers that a half holds, and of halves.
std::uint16_t HalfOf(double value) {
  if (value == 0.0) return 0;
  const std::uint16_t sign = value < 0.0 ? 0x8000 : 0;
  double mantissa = value < 0.0 ? -value : value;
  int exponent = 15;
  for (; mantissa >= 2.0; mantissa /= 2.0) ++exponent;
  for (; mantissa < 1.0; mantissa *= 2.0) --exponent;
  return static_cast<std::uint16_t>(sign | exponent << 10 | static_cast<int>((mantissa - 1.0) * 1024.0 + 0.5));
}

template <class T>
std::uint64_t BitsOf(T value) {
  std::uint64_t bits = 0;
  std::memcpy(&bits, &value, sizeof value);
  return bits;
}

std::uint64_t SampleBits(const std::string& type, double value) {
  if (type == "float16") return HalfOf(value);
  if (type == "float32") return BitsOf(static_cast<float>(value));
  if (type == "float64") return BitsOf(value);
  if (type.starts_with("int")) return static_cast<std::uint64_t>(static_cast<std::int64_t>(value));
  return static_cast<std::uint64_t>(value);
}

void Put(SFileBytes& out, std::uint64_t value, std::size_t bytes, bool bigEndian = false) {
  for (std::size_t i = 0; i < bytes; ++i) {
    out.push_back(static_cast<std::uint8_t>(value >> 8 * (bigEndian ? bytes - 1 - i : i)));
  }
}

SFileBytes Deflated(const SFileBytes& bytes, int windowBits) {
  z_stream stream{};
  deflateInit2(&stream, 6, Z_DEFLATED, windowBits, 8, Z_DEFAULT_STRATEGY);
  SFileBytes out(deflateBound(&stream, static_cast<uLong>(bytes.size())) + 64);
  stream.next_in = const_cast<Bytef*>(bytes.data());
  stream.avail_in = static_cast<uInt>(bytes.size());
  stream.next_out = out.data();
  stream.avail_out = static_cast<uInt>(out.size());
  deflate(&stream, Z_FINISH);
  out.resize(stream.total_out);
  deflateEnd(&stream);
  return out;
}

SFileBytes Packed(const std::string& packing, const SFileBytes& bytes, std::size_t typeBytes) {
  constexpr int kZlib = 15, kGzip = 31;
  if (packing == "none") return bytes;
  if (packing == "gzip") return Deflated(bytes, kGzip);
  if (packing == "zlib") return Deflated(bytes, kZlib);
  SFileBytes out(bytes.size() * 2 + 1024);
  if (packing == "zstd") {
    out.resize(ZSTD_compress(out.data(), out.size(), bytes.data(), bytes.size(), 3));
  } else if (packing == "blosc") {
    out.resize(static_cast<std::size_t>(blosc_compress_ctx(5, BLOSC_SHUFFLE, typeBytes, bytes.size(), bytes.data(),
                                                           out.data(), out.size(), "lz4", 0, 1)));
  } else if (packing == "lz4") {
    SFileBytes sized;
    Put(sized, bytes.size(), 4);
    const int size =
        LZ4_compress_default(reinterpret_cast<const char*>(bytes.data()), reinterpret_cast<char*>(out.data()),
                             static_cast<int>(bytes.size()), static_cast<int>(out.size()));
    sized.insert(sized.end(), out.begin(), out.begin() + size);
    return sized;
  } else if (packing == "bz2") {
    auto size = static_cast<unsigned>(out.size());
    BZ2_bzBuffToBuffCompress(reinterpret_cast<char*>(out.data()), &size,
                             reinterpret_cast<char*>(const_cast<std::uint8_t*>(bytes.data())),
                             static_cast<unsigned>(bytes.size()), 9, 0, 0);
    out.resize(size);
  } else {
    throw std::runtime_error("no such packing");
  }
  return out;
}

// Bit by bit, as the definition has it.
std::uint32_t Crc32c(const SFileBytes& bytes) {
  std::uint32_t crc = 0xFFFFFFFFu;
  for (const std::uint8_t byte : bytes) {
    for (int bit = 0; bit < 8; ++bit) {
      const bool out = ((crc ^ (byte >> bit)) & 1) != 0;
      crc = crc >> 1 ^ (out ? 0x82F63B78u : 0u);
    }
  }
  return ~crc;
}

void AppendChecksum(SFileBytes& bytes) { Put(bytes, Crc32c(bytes), 4); }

// Calls `each` with every index below `shape`, the last axis fastest, or the first.
void ForEachIndex(const SZarrIndex& shape, bool reversed, const std::function<void(const SZarrIndex&)>& each) {
  SZarrIndex index(shape.size(), 0);
  for (;;) {
    each(index);
    std::size_t step = 0;
    for (; step < shape.size(); ++step) {
      const std::size_t axis = reversed ? step : shape.size() - 1 - step;
      if (++index[axis] < shape[axis]) break;
      index[axis] = 0;
    }
    if (step == shape.size()) return;
  }
}

SZarrIndex CountOf(const SZarrIndex& shape, const SZarrIndex& piece) {
  SZarrIndex count;
  for (std::size_t i = 0; i < shape.size(); ++i) count.push_back((shape[i] - 1) / piece[i] + 1);
  return count;
}

// Nothing for a chunk that is missing.
SFileBytes ChunkBytes(const SZarrArray& array, const SZarrIndex& numbers) {
  SFileBytes bytes;
  if (array.isMissing && array.isMissing(numbers)) return bytes;
  const std::size_t typeBytes = TypeBytes(array.type);
  ForEachIndex(array.chunk, array.reversed, [&](const SZarrIndex& inside) {
    SZarrIndex index(inside);
    bool isInside = true;
    for (std::size_t i = 0; i < index.size(); ++i) {
      index[i] += numbers[i] * array.chunk[i];
      isInside = isInside && index[i] < array.shape[i];
    }
    Put(bytes, SampleBits(array.type, isInside ? array.value(index) : 77.0), typeBytes, array.bigEndian);
  });
  bytes = Packed(array.packing, bytes, typeBytes);
  if (array.checksum) AppendChecksum(bytes);
  return bytes;
}

SFileBytes ShardBytes(const SZarrArray& array, const SZarrIndex& shard) {
  SZarrIndex perShard;
  for (std::size_t i = 0; i < array.chunk.size(); ++i) perShard.push_back(array.shard[i] / array.chunk[i]);
  SFileBytes chunks, index;
  std::size_t count = 1;
  for (const std::uint32_t n : perShard) count *= n;
  const std::size_t start = array.indexAtStart ? count * 16 + 4 : 0;
  const SZarrIndex whole = CountOf(array.shape, array.chunk);
  ForEachIndex(perShard, false, [&](const SZarrIndex& inside) {
    SZarrIndex numbers(inside);
    bool isInside = true;
    for (std::size_t i = 0; i < numbers.size(); ++i) {
      numbers[i] += shard[i] * perShard[i];
      isInside = isInside && numbers[i] < whole[i];
    }
    const SFileBytes chunk = isInside ? ChunkBytes(array, numbers) : SFileBytes();
    Put(index, chunk.empty() ? ~std::uint64_t{0} : start + chunks.size(), 8, array.indexIsBigEndian);
    Put(index, chunk.empty() ? ~std::uint64_t{0} : chunk.size(), 8, array.indexIsBigEndian);
    chunks.insert(chunks.end(), chunk.begin(), chunk.end());
  });
  AppendChecksum(index);
  return array.indexAtStart ? Concatenated({index, chunks}) : Concatenated({chunks, index});
}

std::string ListText(const SZarrIndex& values) {
  std::string text = "[";
  for (const std::uint32_t value : values) text.append(text.size() > 1 ? "," : "").append(std::to_string(value));
  return text.append("]");
}

std::string Quoted(const std::string& text) { return std::string("\"").append(text).append("\""); }

std::string Description2(const SZarrArray& array) {
  std::string text = "{\"zarr_format\":2,\"shape\":";
  text.append(ListText(array.shape)).append(",\"chunks\":").append(ListText(array.chunk));
  text.append(",\"dtype\":").append(Quoted(TypeName2(array))).append(",\"compressor\":");
  text.append(array.packing == "none" ? "null" : "{\"id\":" + Quoted(array.packing) + "}");
  text.append(",\"fill_value\":").append(array.fill).append(",\"order\":").append(array.reversed ? "\"F\"" : "\"C\"");
  text.append(",\"filters\":").append(array.filters);
  if (array.namesSeparator) text.append(",\"dimension_separator\":").append(Quoted(std::string(1, array.separator)));
  return text.append("}");
}

std::string Endian(bool big) {
  return std::string("{\"name\":\"bytes\",\"configuration\":{\"endian\":\"")
      .append(big ? "big" : "little")
      .append("\"}}");
}

std::string Codecs3(const SZarrArray& array) {
  std::string text = "[";
  if (array.reversed) {
    SZarrIndex order;
    for (std::size_t i = array.chunk.size(); i-- > 0;) order.push_back(static_cast<std::uint32_t>(i));
    text.append("{\"name\":\"transpose\",\"configuration\":{\"order\":").append(ListText(order)).append("}},");
  }
  text.append(Endian(array.bigEndian));
  if (array.packing != "none") text.append(",{\"name\":").append(Quoted(array.packing)).append("}");
  if (array.checksum) text.append(",{\"name\":\"crc32c\"}");
  return text.append("]");
}

std::string Description3(const SZarrArray& array) {
  std::string codecs = Codecs3(array);
  if (!array.shard.empty()) {
    std::string sharding = "[{\"name\":\"sharding_indexed\",\"configuration\":{\"chunk_shape\":";
    sharding.append(ListText(array.chunk)).append(",\"codecs\":").append(codecs).append(",\"index_codecs\":[");
    sharding.append(Endian(array.indexIsBigEndian)).append(",{\"name\":\"crc32c\"}],\"index_location\":");
    codecs = sharding.append(array.indexAtStart ? "\"start\"}}]" : "\"end\"}}]");
  }
  std::string text = "{\"zarr_format\":3,\"node_type\":\"array\",\"shape\":";
  text.append(ListText(array.shape)).append(",\"data_type\":").append(Quoted(array.type));
  text.append(",\"chunk_grid\":{\"name\":\"regular\",\"configuration\":{\"chunk_shape\":");
  text.append(ListText(array.shard.empty() ? array.chunk : array.shard)).append("}},\"chunk_key_encoding\":{\"name\":");
  text.append(array.keysOfVersion2 ? "\"v2\"" : "\"default\"").append(",\"configuration\":{\"separator\":");
  text.append(Quoted(std::string(1, array.separator))).append("}},\"fill_value\":").append(array.fill);
  return text.append(",\"codecs\":").append(codecs).append(",\"attributes\":{}}");
}

std::string AxisText(char axis) {
  std::string text = "{\"name\":\"";
  text += axis;
  if (axis == 'c') return text.append("\",\"type\":\"channel\"}");
  if (axis == 't') return text.append("\",\"type\":\"time\",\"unit\":\"second\"}");
  return text.append("\",\"type\":\"space\",\"unit\":\"micrometer\"}");
}

SFileBytes DeflatedRaw(const SFileBytes& bytes) {
  constexpr int kRaw = -15;
  return Deflated(bytes, kRaw);
}

struct SZipEntry {
  std::string name;
  SFileBytes content;
  std::uint32_t crc = 0, size = 0, offset = 0;
  std::uint16_t method = 0;
};

// The fields that local headers and the directory share.
void PutZipFields(SFileBytes& out, const SZipEntry& entry, std::size_t extraBytes, bool big) {
  Put(out, big ? 45 : 20, 2);
  Put(out, 0, 2);
  Put(out, entry.method, 2);
  Put(out, 0, 4);
  Put(out, entry.crc, 4);
  Put(out, big ? 0xFFFFFFFFu : entry.content.size(), 4);
  Put(out, big ? 0xFFFFFFFFu : entry.size, 4);
  Put(out, entry.name.size(), 2);
  Put(out, extraBytes, 2);
}

void PutBigSizes(SFileBytes& out, const SZipEntry& entry) {
  Put(out, 1, 2);
  Put(out, 16, 2);
  Put(out, entry.size, 8);
  Put(out, entry.content.size(), 8);
}

}  // namespace

void CZarrFiles::AddArray(const std::string& key, const SZarrArray& array) {
  AddText(Key(key, array.version == 3 ? "zarr.json" : ".zarray"),
          array.version == 3 ? Description3(array) : Description2(array));
  const bool isSharded = !array.shard.empty();
  ForEachIndex(CountOf(array.shape, isSharded ? array.shard : array.chunk), false, [&](const SZarrIndex& numbers) {
    SFileBytes bytes = isSharded ? ShardBytes(array, numbers) : ChunkBytes(array, numbers);
    if (bytes.empty()) return;
    std::string name = array.version == 3 && !array.keysOfVersion2 ? "c" : "";
    for (const std::uint32_t number : numbers) {
      if (!name.empty()) name += array.separator;
      name.append(std::to_string(number));
    }
    Add(Key(key, name), std::move(bytes));
  });
}

void CZarrFiles::AddGroup(const std::string& key, int version, const std::string& attributes) {
  if (version == 3) {
    AddText(Key(key, "zarr.json"), std::string("{\"zarr_format\":3,\"node_type\":\"group\",\"attributes\":{\"ome\":")
                                       .append(attributes)
                                       .append("}}"));
    return;
  }
  AddText(Key(key, ".zgroup"), "{\"zarr_format\":2}");
  AddText(Key(key, ".zattrs"), attributes);
}

void CZarrFiles::AddPicture(const std::string& key, const std::string& axes, const std::vector<SZarrArray>& levels,
                            const std::string& more) {
  const int version = levels.front().version;
  std::string attributes = "{\"version\":\"0.5\",\"multiscales\":[{\"name\":\"cells\",\"version\":\"";
  attributes.append(version == 3 ? "0.5" : "0.4").append("\",\"axes\":[");
  for (std::size_t i = 0; i < axes.size(); ++i) attributes.append(i == 0 ? "" : ",").append(AxisText(axes[i]));
  attributes.append("],\"datasets\":[");
  for (std::size_t i = 0; i < levels.size(); ++i) {
    attributes.append(i == 0 ? "" : ",").append("{\"path\":").append(Quoted(std::to_string(i)));
    attributes.append(",\"coordinateTransformations\":[{\"type\":\"scale\",\"scale\":[");
    for (std::size_t axis = 0; axis < axes.size(); ++axis) {
      const bool isPlane = axes[axis] == 'x' || axes[axis] == 'y';
      attributes.append(axis == 0 ? "" : ",")
          .append(std::to_string(isPlane ? 0.25 * static_cast<double>(1u << i) : 1.5));
    }
    attributes.append("]}]}");
    AddArray(Key(key, std::to_string(i)), levels[i]);
  }
  AddGroup(key, version, attributes.append("]}]").append(more.empty() ? "" : ",").append(more).append("}"));
}

void CZarrFiles::WriteTo(const std::string& folder) const {
  for (const auto& [key, bytes] : m_files) {
    const std::filesystem::path path = std::filesystem::path(folder) / key;
    std::filesystem::create_directories(path.parent_path());
    WriteFile(path.string(), bytes);
  }
}

SFileBytes CZarrFiles::Zip(EZip how, const std::string& folder, bool big) const {
  SFileBytes out;
  std::vector<SZipEntry> entries;
  for (const auto& [key, bytes] : m_files) {
    SZipEntry& entry = entries.emplace_back();
    entry.name = folder + key;
    entry.crc = static_cast<std::uint32_t>(crc32(0, bytes.data(), static_cast<uInt>(bytes.size())));
    entry.size = static_cast<std::uint32_t>(bytes.size());
    entry.offset = static_cast<std::uint32_t>(out.size());
    entry.method = how == EZip::kDeflated ? 8 : 0;
    entry.content = how == EZip::kDeflated ? DeflatedRaw(bytes) : bytes;
    Put(out, 0x04034B50, 4);
    PutZipFields(out, entry, big ? 20 : 0, big);
    out.insert(out.end(), entry.name.begin(), entry.name.end());
    if (big) PutBigSizes(out, entry);
    out.insert(out.end(), entry.content.begin(), entry.content.end());
  }
  const std::size_t directory = out.size();
  for (const SZipEntry& entry : entries) {
    Put(out, 0x02014B50, 4);
    Put(out, 45, 2);
    PutZipFields(out, entry, big ? 20 : 0, big);
    Put(out, 0, 8);
    Put(out, 0, 2);
    Put(out, entry.offset, 4);
    out.insert(out.end(), entry.name.begin(), entry.name.end());
    if (big) PutBigSizes(out, entry);
  }
  const std::size_t end = out.size();
  if (big) {
    Put(out, 0x06064B50, 4);
    Put(out, 44, 8);
    Put(out, 45, 2);
    Put(out, 45, 2);
    Put(out, 0, 8);
    Put(out, entries.size(), 8);
    Put(out, entries.size(), 8);
    Put(out, end - directory, 8);
    Put(out, directory, 8);
    Put(out, 0x07064B50, 4);
    Put(out, 0, 4);
    Put(out, end, 8);
    Put(out, 1, 4);
  }
  Put(out, 0x06054B50, 4);
  Put(out, 0, 4);
  Put(out, big ? 0xFFFF : entries.size(), 2);
  Put(out, big ? 0xFFFF : entries.size(), 2);
  Put(out, big ? 0xFFFFFFFFu : end - directory, 4);
  Put(out, big ? 0xFFFFFFFFu : directory, 4);
  Put(out, 0, 2);
  return out;
}

}  // namespace qvtest
