#include "host/commands/command.h"

#include <fmt/format.h>

#include <cstdio>
#include <limits>
#include <optional>

#include "host/output/time_text.h"

namespace qvhost {

void AddDatabaseOptions(CCommand command, SDatabaseOptions* options) {
  COption file = command.AddOption("--db", &options->file,
                                   "Database file (default: $QVTHUMBS_DB, else your own, in your cache folder)");
  file.Type("FILE").NotEmpty("names no file; leave it out for your own database");
  command.AddFlag("--all-users", &options->allUsers, "Use the database that all users of this machine share")
      .Excludes(file);
}

COption AddJsonOption(CCommand command, bool* json) {
  return command.AddFlag(
      "--json", json, "Print JSON, times in UTC; in names, bytes that are no UTF-8 stand as \\xNN and may be given so");
}

void AddQualityOption(CCommand command, bool* highQuality) {
  command
      .AddOption(
          "--quality", [highQuality](const std::string& quality) { *highQuality = quality == "high"; },
          "standard (default, fits 480 x 180 pixels) or high (fits 640 x 240 pixels, averages more carefully)")
      .OneOf({"standard", "high"})
      .Type("standard|high");
}

void AddViewOptions(CCommand command, SDatabaseOptions* options) {
  SViewOptions& view = options->view.emplace();
  command
      .AddOption("--planes", &view.planes,
                 "Of a z stack: middle (default), max or mean of all planes, first, last, or a number from 1")
      .Type("middle|max|mean|first|last|N");
  command.AddOption("--time", &view.time, "This time point, from 1").Positive().Type("N");
  command.AddOption("--position", &view.position, "This stage position, from 1 (default: the file's own)")
      .Positive()
      .Type("N");
  command.AddOption("--channels", &view.channels, "These channels only, e.g. 1,3 (default: the first six)")
      .Type("LIST");
  command.AddFlag("--stretch-together", &view.stretchTogether,
                  "One range of intensities for all channels, so that they can be compared");
}

void AddRecursiveOption(CCommand command, bool* recursive) {
  command.AddFlag("-r,--recursive", recursive, "Also the folders below");
}

void AddDryRunOption(CCommand command, bool* dryRun) {
  command.AddFlag("-n,--dry-run", dryRun, "Only tell what would be removed");
}

void AddUnderOption(CCommand command, std::string* folder, const char* description) {
  command.AddOption("--under", folder, description).NotEmpty("an empty name is no folder").Type("FOLDER");
}

void PrintList(bool json, const CJson& document, const CTable& table, const std::string& nothing) {
  if (json) {
    PrintJson(document);
  } else if (table.IsEmpty()) {
    std::printf("%s\n", nothing.c_str());
  } else {
    table.Print();
  }
}

CHostError NoSuchExperiment(int id) {
  return CHostError(fmt::format("there is no experiment {}; 'qvthumbs experiments list' lists them", id),
                    kExitSomeFailed);
}

CHostError NoSuchStoredItem(int id) {
  return CHostError(fmt::format("there is no stored item {}; 'qvthumbs stored tree' lists them", id), kExitSomeFailed);
}

void AddTimeRangeOptions(CCommand command, STimeRange* range) {
  command
      .AddOption("--since", &range->since,
                 "From this time on, e.g. 2024-05-01, 2024-05-01T09:30 (local time) or 2024-05-01T09:30Z")
      .Type("TIME");
  command.AddOption("--until", &range->until, "Before this time").Type("TIME");
}

double ParseTime(const std::string& text, const char* option) {
  if (const std::optional<double> time = ParseTimeText(text)) return *time;
  throw CHostError(
      fmt::format("{} '{}' is no time; write it like 2024-05-01, 2024-05-01T09:30 or "
                  "2024-05-01T09:30:00+02:00",
                  option, Printable(text)));
}

double STimeRange::From() const { return since.empty() ? 0.0 : ParseTime(since, "--since"); }
double STimeRange::To() const {
  return until.empty() ? std::numeric_limits<double>::max() : ParseTime(until, "--until");
}

void ReportFailure(SOutcome& outcome, const std::string& name, const std::string& reason) {
  std::fprintf(stderr, "qvthumbs: %s: %s\n", Printable(name).c_str(), reason.c_str());
  outcome.status = kExitSomeFailed;
}

}  // namespace qvhost
