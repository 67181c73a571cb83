#include "platform/imageformats/tiff/directory/associated_pages.h"

#include <algorithm>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/base/text.h"
#include "platform/imageformats/tiff/directory/tags.h"

namespace imageformats::tiff {
namespace {

// A bit that TIFF leaves undefined, and scanners set for the macro image.
constexpr std::uint32_t kFileTypeMacro = 8;

bool IsSize(std::string_view text) {
  const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
  const auto times = std::find_if_not(text.begin(), text.end(), isDigit);
  if (times == text.begin() || times == text.end() || *times != 'x') return false;
  return times + 1 != text.end() && isDigit(times[1]);
}

// "label", "Label Image", "label_image", "label 387x463", in any case.
std::string NameOfLine(std::string_view line) {
  for (const std::string_view name : {"label", "macro"}) {
    if (!line.starts_with(name)) continue;
    std::string_view rest = line.substr(name.size());
    if (rest.starts_with(" image") || rest.starts_with("_image")) rest.remove_prefix(6);
    if (rest.empty() || (rest.front() == ' ' && IsSize(rest.substr(1)))) return std::string(name);
  }
  return {};
}

}  // namespace

std::string AssociatedName(std::string_view text) {
  const std::string lower = LowerAscii(text);
  for (std::string_view rest = lower; !rest.empty();) {
    const std::size_t end = std::min(rest.find('\n'), rest.size());
    if (std::string name = NameOfLine(Trimmed(rest.substr(0, end))); !name.empty()) return name;
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return {};
}

std::string AssociatedName(STiffFile& file, const SIfdSummary& page) {
  if ((page.subfileType & kFileTypeMacro) != 0) return "macro";
  try {
    file.handle.Select(page.offset);
    return AssociatedName(TextTag(file.handle, TIFFTAG_IMAGEDESCRIPTION));
  } catch (const CDamagedError&) {
    return {};
  }
}

}  // namespace imageformats::tiff
