#include "host/files/text_info.h"

#include <fmt/format.h>

#include "host/files/image_file.h"
#include "host/output/text.h"
#include "host/output/time_text.h"
#include "system/qvstatus.h"

namespace qvhost {
namespace {

struct STextField {
  const char* label;
  const char* key;
  CQvStringW SQvImageTextInfo::*text;
};

constexpr std::array<STextField, 14> kTexts = {{{"Image", "imageID", &SQvImageTextInfo::imageID},
                                                {"Type", "type", &SQvImageTextInfo::type},
                                                {"Group", "group", &SQvImageTextInfo::group},
                                                {"Sample", "sampleID", &SQvImageTextInfo::sampleID},
                                                {"Author", "author", &SQvImageTextInfo::author},
                                                {"Description", "description", &SQvImageTextInfo::description},
                                                {"Capturing", "capturing", &SQvImageTextInfo::capturing},
                                                {"Sampling", "sampling", &SQvImageTextInfo::sampling},
                                                {"Location", "location", &SQvImageTextInfo::location},
                                                {"Date", "date", &SQvImageTextInfo::date},
                                                {"Conclusion", "conclusion", &SQvImageTextInfo::conclusion},
                                                {"Info 1", "info1", &SQvImageTextInfo::info1},
                                                {"Info 2", "info2", &SQvImageTextInfo::info2},
                                                {"Optics", "optics", &SQvImageTextInfo::optics}}};

constexpr std::array<const char*, 4> kLoopNames = {"time points", "z planes", "positions", "channels"};
constexpr std::array<const char*, 4> kLoopKeys = {"time", "z", "positions", "channels"};

const char* PixelTypeName(std::uint32_t type) {
  switch (type) {
    case kQvPixelUnsigned:
      return "unsigned";
    case kQvPixelSigned:
      return "signed";
    case kQvPixelFloat:
      return "float";
    default:
      return "";
  }
}

const char* CompressionName(std::uint32_t compression) {
  switch (compression) {
    case kQvCompressionNone:
      return "none";
    case kQvCompressionLossless:
      return "lossless";
    case kQvCompressionJpeg:
      return "JPEG";
    default:
      return "other";
  }
}

std::string SizeLine(const STextInfo& info) {
  std::string line = fmt::format("{} x {} pixels", info.image.width, info.image.height);
  if (info.calibration > 0.0) {
    line += fmt::format(" ({} x {} µm)", FormatNumber(info.image.width * info.calibration),
                        FormatNumber(info.image.height * info.calibration));
  }
  return line;
}

std::string PixelLine(const SQvImageInfo& image) {
  std::string line = fmt::format("{}-bit {}", image.bpcSignificant, PixelTypeName(image.pixelType));
  if (image.bpcInMemory > image.bpcSignificant) line += fmt::format(" in {} bits", image.bpcInMemory);
  if (image.components > 1) line += fmt::format(", {} components", image.components);
  return line;
}

std::string LoopLine(const std::array<std::uint32_t, 4>& loops) {
  std::string line;
  for (std::size_t i = 0; i < loops.size(); ++i) {
    if (loops[i] > 1) line += fmt::format("{}{} {}", line.empty() ? "" : ", ", loops[i], kLoopNames[i]);
  }
  return line;
}

bool IsTiled(const SQvImageInfo& image) {
  return image.tileWidth != 0 && (image.tileWidth != image.width || image.tileHeight != image.height);
}

}  // namespace

bool STextInfo::Read(IQvThumbnailCache& service, const std::string& path) {
  return service.GetFileTextInfo(TextInfoPath(path).c_str(), texts, image, calibration, objective, acquisitionTime,
                                 fileSize, loops.data()) == kQvOk;
}

std::vector<CQvStringW> STextInfo::AllTexts() const {
  std::vector<CQvStringW> all = {objective};
  for (const STextField& field : kTexts) all.push_back(texts.*field.text);
  return all;
}

std::vector<std::pair<std::string, std::string>> STextInfo::Lines() const {
  std::vector<std::pair<std::string, std::string>> lines;
  const auto add = [&lines](const char* label, std::string value) {
    if (!value.empty()) lines.emplace_back(label, std::move(value));
  };
  add("Size", SizeLine(*this));
  add("Pixels", PixelLine(image));
  add("Loops", LoopLine(loops));
  if (image.sequenceCount > 1) add("Frames", FormatCount(image.sequenceCount));
  if (calibration > 0.0) add("Calibration", FormatNumber(calibration) + " µm/px");
  add("Objective", Printable(objective));
  add("Acquired", FormatTime(acquisitionTime));
  add("File size", FormatBytes(fileSize));
  add("Compression", CompressionName(image.compression));
  if (IsTiled(image)) add("Tiles", fmt::format("{} x {} pixels", image.tileWidth, image.tileHeight));
  for (const STextField& field : kTexts) add(field.label, PrintableLines(texts.*field.text));
  return lines;
}

CJson STextInfo::Json() const {
  CJson json = {{"width", image.width},
                {"height", image.height},
                {"components", image.components},
                {"bitsPerComponent", image.bpcSignificant},
                {"bitsInMemory", image.bpcInMemory},
                {"pixelType", PixelTypeName(image.pixelType)},
                {"frames", image.sequenceCount},
                {"tileWidth", image.tileWidth},
                {"tileHeight", image.tileHeight},
                {"compression", CompressionName(image.compression)},
                {"fileSize", fileSize}};
  json["micrometresPerPixel"] = calibration > 0.0 ? CJson(calibration) : CJson(nullptr);
  json["objective"] = objective.IsEmpty() ? CJson(nullptr) : CJson(JsonText(objective));
  json["acquired"] = JsonTime(acquisitionTime);
  for (std::size_t i = 0; i < loops.size(); ++i) json["loops"][kLoopKeys[i]] = loops[i];
  json["texts"] = CJson::object();
  for (const STextField& field : kTexts) {
    if (!(texts.*field.text).IsEmpty()) json["texts"][field.key] = JsonText(texts.*field.text);
  }
  return json;
}

std::vector<std::string> STextInfo::FieldNames() {
  std::vector<std::string> names;
  const CJson fields = STextInfo().Fields();
  for (const auto& [name, value] : fields.items()) names.push_back(name);
  for (const STextField& field : kTexts) names.emplace_back(field.key);
  return names;
}

CJson STextInfo::Fields() const {
  CJson fields = Json();
  for (const char* group : {"loops", "texts"}) {
    const CJson members = fields[group];
    fields.erase(group);
    fields.update(members);
  }
  return fields;
}

}  // namespace qvhost
