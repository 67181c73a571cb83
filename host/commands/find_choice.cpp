#include "host/commands/find_choice.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>

#include "host/commands/amount.h"
#include "host/files/image_file.h"
#include "host/output/scale_bar.h"

namespace qvhost {
namespace {

// A single pixel size stands for those that are written like it.
constexpr double kSamePixelSize = 0.005;

using CParser = std::optional<double> (*)(const std::string& text);

std::optional<double> ParseCount(const std::string& text) {
  int count = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, count);
  if (error != std::errc() || stop != end || count < 0) return std::nullopt;
  return count;
}

// Micrometres when it names no unit.
std::optional<double> ParsePixelSize(const std::string& text) {
  const auto number = NumberAndUnit(text);
  return number && number->second.empty() ? number->first : ParseLength(text);
}

SFactRange ParseRange(const char* option, const std::string& text, CParser parse, const char* example) {
  if (text.empty()) return {};
  const std::size_t dots = text.find("..");
  const std::string first = text.substr(0, dots), last = dots == text.npos ? first : text.substr(dots + 2);
  SFactRange range = {parse(first), parse(last)};
  if (range.IsOpen() || (!range.least && !first.empty()) || (!range.most && !last.empty())) {
    throw CHostError(fmt::format("{} '{}' is no range; write it like {}", option, Printable(text), example));
  }
  if (range.least && range.most && *range.least > *range.most) {
    throw CHostError(fmt::format("{} '{}' ends before it begins", option, Printable(text)));
  }
  return range;
}

SFactRange ParsePixelSizes(const std::string& text) {
  SFactRange range = ParseRange("--pixel-size", text, &ParsePixelSize, "0.325, 0.1..0.5 or ..200nm");
  if (range.IsOpen() || text.find("..") != text.npos) return range;
  return {*range.least * (1 - kSamePixelSize), *range.most * (1 + kSamePixelSize)};
}

}  // namespace

SPictureQuery SFindChoice::Query() const {
  constexpr const char* kCounts = "3, 2..10, 2.. or ..10";
  SPictureQuery query;
  query.words = words;
  query.channels = ParseRange("--channels", channels, &ParseCount, kCounts);
  query.z = ParseRange("--z", z, &ParseCount, kCounts);
  query.t = ParseRange("--t", t, &ParseCount, kCounts);
  query.pixelSize = ParsePixelSizes(pixelSize);
  query.size = ParseRange("--size", size, &ParseByteCount, "1GB.., ..500kB or 1MB..2MB");
  if (!acquired.since.empty()) query.time.least = acquired.From();
  if (!acquired.until.empty()) query.time.most = acquired.To();
  query.objective = objective;
  query.user = user;
  if (hasExperiment) query.experiment = experiment;
  if (!under.empty()) query.under = LocationOfFolder(under);
  if (query.IsOpen()) throw CHostError("say what to find: words, or one of the options; --help lists them");
  return query;
}

void AddFindChoice(CCommand command, SFindChoice* choice) {
  const auto addRange = [&command](const char* name, std::string* value, const char* description, const char* type) {
    command.AddOption(name, value, description).NotEmpty("an empty range").Type(type);
  };
  command.AddOption("--objective", &choice->objective, "With an objective of whose name this is a part, e.g. 60x")
      .NotEmpty("names no objective")
      .Type("TEXT");
  addRange("--channels", &choice->channels, "With so many channels, e.g. 3 or 2..", "N..M");
  addRange("--z", &choice->z, "With so many z planes, e.g. 2..10", "N..M");
  addRange("--t", &choice->t, "With so many time points, e.g. 100..", "N..M");
  addRange("--pixel-size", &choice->pixelSize, "With pixels as large as that in the specimen, in micrometres",
           "LENGTH..LENGTH");
  addRange("--size", &choice->size, "With files as large as that, e.g. 1GB.. or ..500kB", "SIZE..SIZE");
  AddTimeRangeOptions(command, &choice->acquired);
  command.AddOption("--user", &choice->user, "Acquired by this user, as the history tells")
      .NotEmpty("names no user")
      .Type("NAME");
  command
      .AddOption(
          "--experiment",
          [choice](const std::string& text) {
            const auto number = ParseCount(text);
            if (!number) throw CHostError(fmt::format("--experiment '{}' is no number", Printable(text)));
            choice->experiment = static_cast<int>(*number);
            choice->hasExperiment = true;
          },
          "Of this experiment, as the history tells")
      .Type("ID");
  AddUnderOption(command, &choice->under, "Only below this folder; tells how many pictures there are not known");
  command.AddOption("words", &choice->words, "Parts of names, texts, objectives and users; all of them must be there")
      .Type("WORD");
}

}  // namespace qvhost
