#include "platform/imageformats/tiff/dataset/companion.h"

#include <array>
#include <set>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/tiff/ome/ome_xml.h"

namespace imageformats::tiff {
namespace {

// Names that are looked for beside the companion before it is given up.
constexpr std::size_t kMaxCompanionNames = 4096;

// In the order of the document.
std::vector<std::string> FilesOf(const SOmeDocument& document) {
  std::vector<std::string> names;
  std::set<std::string> known;
  for (const SOmeImage& image : document.images) {
    for (const SOmeTiffData& data : image.tiffData) {
      if (data.fileName.empty() || names.size() >= kMaxCompanionNames) continue;
      if (known.insert(data.fileName).second) names.push_back(data.fileName);
    }
  }
  return names;
}

}  // namespace

bool IsCompanion(const CInput& input) noexcept {
  const auto head = input.Head();
  if (head.empty() || (head[0] != '<' && head[0] != 0xEF)) return false;
  std::array<char, 8192> start;
  return LooksLikeOmeXml({start.data(), input.ReadAt(0, start.data(), start.size())});
}

std::string CompanionText(const CInput& input) {
  if (input.Size() > kMaxOmeXmlBytes) return {};
  std::string text(static_cast<std::size_t>(input.Size()), '\0');
  text.resize(input.ReadAt(0, text.data(), text.size()));
  return text;
}

CFileSet OpenFileSet(std::shared_ptr<const CInput> input) {
  if (!IsCompanion(*input)) return CFileSet(std::move(input));
  SOmeDocument document;
  std::string error;
  const std::string text = CompanionText(*input);
  const std::vector<std::string> names =
      ParseOmeXml(text, &document, &error) ? FilesOf(document) : std::vector<std::string>();
  if (names.empty()) throw CUnsupportedError("OME-XML that names no TIFF files is not supported");
  for (const std::string& name : names) {
    std::shared_ptr<const CInput> file = input->OpenBeside(name);
    if (!file || IsCompanion(*file)) continue;
    try {
      return CFileSet(std::move(file), input);
    } catch (const CDamagedError&) {
      // The next one may be sound.
    }
  }
  throw CDamagedError("None of the TIFF files that the OME-XML names is there");
}

}  // namespace imageformats::tiff
