#include "host/page/card.h"

#include <fmt/format.h>

#include <cmath>
#include <cstdint>

#include "host/output/html.h"
#include "host/output/scale_bar.h"
#include "host/output/text.h"
#include "host/output/time_text.h"

namespace qvhost {
namespace {

constexpr std::size_t kMaxBriefText = 200;

std::string ThreeDigits(double value) {
  if (value >= 100.0) return fmt::format("{:.0f}", value);
  return fmt::format("{:.3g}", value);
}

// The first line of a text, which a card has room for.
std::string FirstLine(const CQvStringW& text) {
  const std::string printable = PrintableLines(text);
  std::string line = printable.substr(0, printable.find('\n'));
  if (line.size() <= kMaxBriefText) return line;
  std::size_t end = kMaxBriefText;
  while (end > 0 && (static_cast<unsigned char>(line[end]) & 0xC0) == 0x80) --end;
  return line.substr(0, end) + "…";
}

std::string PictureSize(const STextInfo& info) {
  std::string line = fmt::format("{} × {} pixels", info.image.width, info.image.height);
  if (!(info.calibration > 0.0)) return line;
  return line + fmt::format(" · {} × {}", ShortLength(info.image.width * info.calibration),
                            ShortLength(info.image.height * info.calibration));
}

// Frames are told of only where the loops do not say how many there are.
std::string Extent(const STextInfo& info) {
  constexpr std::array<const char*, 4> kNames = {"time points", "z planes", "positions", "channels"};
  std::string line;
  for (std::size_t i = 0; i < kNames.size(); ++i) {
    if (info.loops[i] > 1) line += fmt::format("{}{} {}", line.empty() ? "" : " · ", info.loops[i], kNames[i]);
  }
  if (line.empty() && info.image.sequenceCount > 1) line = FormatCount(info.image.sequenceCount) + " frames";
  return line;
}

std::string Optics(const STextInfo& info) {
  std::string line = Printable(info.objective);
  if (info.calibration > 0.0) {
    line += fmt::format("{}{}/px", line.empty() ? "" : " · ", ShortLength(info.calibration));
  }
  return line;
}

// Names and dyes stand in the lines of a text, one for each channel.
std::string ChannelNames(const STextInfo& info) {
  if (info.loops[3] <= 1 && info.texts.type.Str() != L"OME-TIFF") return {};
  std::string names = PrintableLines(info.texts.info1);
  for (std::size_t at = 0; (at = names.find('\n', at)) != std::string::npos; at += 4) names.replace(at, 1, " · ");
  return FirstLine(CQvStringUtils::UTF8toW(names));
}

CJson Facts(const STextInfo& info) {
  CJson facts = {{"channels", std::max(info.loops[3], 1u)},
                 {"z", std::max(info.loops[1], 1u)},
                 {"t", std::max(info.loops[0], 1u)},
                 {"size", info.fileSize}};
  if (!info.objective.IsEmpty()) facts["objective"] = Printable(info.objective);
  if (info.acquisitionTime > 0.0) facts["time"] = info.acquisitionTime;
  return facts;
}

CJson FullLines(const STextInfo& info) {
  CJson lines = CJson::array();
  for (const auto& [label, value] : info.Lines()) {
    const std::string_view name = label;
    if (name == "Frames" && !Extent(info).ends_with("frames")) continue;
    std::string text = value;
    if (name == "Size") text = PictureSize(info);
    if (name == "Calibration") text = ShortLength(info.calibration) + "/px";
    if (name == "Acquired") text = WrittenTime(info);
    lines.push_back({label, text});
  }
  return lines;
}

}  // namespace

std::string ShortLength(double micrometres) {
  if (micrometres >= 1e6) return ThreeDigits(micrometres / 1e6) + " m";
  if (micrometres >= 1e3) return ThreeDigits(micrometres / 1e3) + " mm";
  if (micrometres >= 0.01) return ThreeDigits(micrometres) + " µm";
  return ThreeDigits(micrometres * 1e3) + " nm";
}

std::string WrittenTime(const STextInfo& info) {
  std::string written = Printable(info.texts.date);
  if (!written.empty() && ParseTimeText(written)) {
    if (written.size() > 10 && written[10] == 'T') written[10] = ' ';
    return written;
  }
  std::string text = FormatTime(info.acquisitionTime);
  if (text.ends_with(" UTC")) text.resize(text.size() - 4);
  return text;
}

std::vector<std::string> BriefLines(const STextInfo& info) {
  std::vector<std::string> lines;
  for (std::string line : {PictureSize(info), Extent(info), ChannelNames(info), Optics(info), WrittenTime(info),
                           FirstLine(info.texts.author), FirstLine(info.texts.description)}) {
    if (!line.empty()) lines.push_back(std::move(line));
  }
  return lines;
}

CJson CardOf(const std::string& path, const std::string& reason) {
  CJson card = {{"path", path}};
  if (!reason.empty()) card["reason"] = reason;
  return card;
}

void AddFacts(const STextInfo& info, bool full, CJson* card) {
  (*card)["facts"] = Facts(info);
  (*card)["brief"] = BriefLines(info);
  if (full) (*card)["lines"] = FullLines(info);
  if (const std::optional<SScaleBar> bar = ChooseScaleBar(info.calibration * info.image.width)) {
    (*card)["bar"] = {{"share", std::round(bar->share * 1e4) / 1e4}, {"label", bar->label}};
  }
}

std::string ScriptJson(const CJson& document) {
  const std::string json = document.dump(-1, ' ', false, CJson::error_handler_t::replace);
  std::string safe;
  safe.reserve(json.size());
  for (const char c : json) {
    if (c == '<') {
      safe += "\\u003c";
    } else {
      safe += c;
    }
  }
  return safe;
}

}  // namespace qvhost
