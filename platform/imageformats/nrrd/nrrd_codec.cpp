#include "platform/imageformats/nrrd/nrrd_codec.h"

#include <algorithm>
#include <bit>
#include <optional>
#include <utility>

#include "platform/imageformats/arrays/array_codec.h"
#include "platform/imageformats/base/text.h"
#include "platform/imageformats/nrrd/nrrd_header.h"
#include "platform/imageformats/nrrd/nrrd_layout.h"

namespace imageformats {

namespace {

// Acquisition programs put all their settings into keys.
constexpr std::size_t kLongestNrrdInfo = 4096;
// Lines before the data are those of another format's header.
constexpr std::uint64_t kMostSkippedLineBytes = 1 << 20;

std::optional<EArrayEncoding> EncodingOf(std::string_view name) {
  if (name == "raw") return EArrayEncoding::kRaw;
  if (name == "txt" || name == "text" || name == "ascii") return EArrayEncoding::kText;
  if (name == "hex") return EArrayEncoding::kHex;
  if (name == "gz" || name == "gzip") return EArrayEncoding::kGzip;
  if (name == "bz2" || name == "bzip2") return EArrayEncoding::kBzip2;
  return std::nullopt;
}

// Only a file in the same folder is taken.
std::shared_ptr<const CInput> OpenDataFile(const CInput& header, std::string name) {
  if (name.starts_with("./")) name.erase(0, 2);
  std::shared_ptr<const CInput> data = header.OpenBeside(name);
  if (!data) throw CDamagedError("The file with the NRRD header's data is not beside it");
  return data;
}

std::uint64_t BehindLines(const CInput& input, std::uint64_t offset, std::int64_t lines) {
  std::vector<char> bytes(kMostSkippedLineBytes);
  bytes.resize(lines > 0 ? input.ReadAt(offset, bytes.data(), bytes.size()) : 0);
  auto at = bytes.begin();
  for (; lines > 0; --lines) {
    at = std::find(at, bytes.end(), '\n');
    if (at == bytes.end()) throw CDamagedError("The lines that the NRRD header skips are not there");
    ++at;
  }
  return offset + static_cast<std::uint64_t>(at - bytes.begin());
}

void LocateNrrd(const SNrrdHeader& header, SArraySource& source) {
  const bool isPacked = source.encoding == EArrayEncoding::kGzip || source.encoding == EArrayEncoding::kBzip2;
  source.offset = BehindLines(*source.input, source.offset, header.lineSkip);
  if (header.byteSkip >= 0) {
    (isPacked ? source.skip : source.offset) += static_cast<std::uint64_t>(header.byteSkip);
  } else if (source.encoding == EArrayEncoding::kRaw && source.size <= source.input->Size()) {
    source.offset = source.input->Size() - source.size;
  } else {
    throw CDamagedError("The file is truncated: it ends before its picture does");
  }
}

CQvStringW NrrdInfo(const SNrrdHeader& header) {
  std::string info;
  for (const auto& [key, value] : header.values) {
    if (info.size() > kLongestNrrdInfo) break;
    if (!info.empty()) info += '\n';
    info.append(key).append(": ").append(value);
  }
  return TextOf(std::string_view(info).substr(0, kLongestNrrdInfo));
}

SArrayPicture ReadNrrd(std::shared_ptr<const CInput> input) {
  const SNrrdHeader header = ReadNrrdHeader(*input);
  SArrayPicture picture;
  picture.format = "NRRD";
  LayOutNrrd(header, picture);
  const std::optional<EArrayEncoding> encoding = EncodingOf(header.encoding);
  if (!encoding) {
    picture.unsupported = "NRRD data of encoding \"" + header.encoding.substr(0, 40) + "\" are not supported";
  }
  if (header.dataFile.starts_with("LIST") || header.dataFile.find('%') != std::string::npos) {
    picture.unsupported = "NRRD data in many files are not supported";
  }
  picture.source.encoding = encoding.value_or(EArrayEncoding::kRaw);
  if (picture.source.encoding == EArrayEncoding::kText) {
    picture.layout.samples.bigEndian = std::endian::native == std::endian::big;
  }
  picture.source.input = input;
  if (picture.unsupported.empty()) {
    if (header.dataFile.empty()) {
      picture.source.offset = header.dataOffset;
    } else {
      picture.otherBytes = input->Size();
      picture.source.input = OpenDataFile(*input, header.dataFile);
    }
    LocateNrrd(header, picture.source);
  }
  picture.metadata.text.description = TextOf(header.content);
  picture.metadata.text.info1 = NrrdInfo(header);
  return picture;
}

}  // namespace

const CCodecModule& NrrdCodec() noexcept {
  static const CArrayCodec codec({"NRRD", IsNrrd, ReadNrrd, false});
  return codec;
}

}  // namespace imageformats
