#include "host/commands/command.h"

#include <fmt/format.h>

#include <cstdio>
#include <limits>

#include "host/output/text.h"
#include "system/qvdatetime.h"

namespace qvhost {

void AddDatabaseOptions(CLI::App* command, SDatabaseOptions* options) {
  auto* file = AddOption(command, "--db", &options->file, "Database file (default: your own, in your cache folder)",
                         {.type = "FILE"});
  AddFlag(command, "--all-users", &options->allUsers, "Use the database that all users of this machine share",
          {.excludes = file});
}

void AddJsonOption(CLI::App* command, bool* json) { AddFlag(command, "--json", json, "Print JSON"); }

void AddQualityOption(CLI::App* command, std::string* quality) {
  AddOption(command, "--quality", quality,
            "standard (default, fits 480 x 180 pixels) or high (fits 640 x 240 pixels, averages more carefully)",
            {.type = "standard|high", .oneOf = {"standard", "high"}});
}

void AddTimeRangeOptions(CLI::App* command, STimeRange* range) {
  AddOption(command, "--since", &range->since, "From this time on, e.g. 2024-05-01 or 2024-05-01T09:30 (UTC)",
            {.type = "TIME"});
  AddOption(command, "--until", &range->until, "Before this time", {.type = "TIME"});
}

double ParseTime(const std::string& text, const char* option) {
  CQvDateTime time;
  if (time.SetIso(text.c_str())) return time.GetJulianDayNumber();
  throw CHostError(
      fmt::format("{} '{}' is no time; write it like 2024-05-01, 2024-05-01T09:30 or "
                  "2024-05-01T09:30:00+02:00",
                  option, Printable(text)));
}

double STimeRange::From() const { return since.empty() ? 0.0 : ParseTime(since, "--since"); }
double STimeRange::To() const {
  return until.empty() ? std::numeric_limits<double>::max() : ParseTime(until, "--until");
}

void ReportFailure(SRun& run, const std::string& name, const std::string& reason) {
  std::fprintf(stderr, "qvthumbs: %s: %s\n", Printable(name).c_str(), reason.c_str());
  run.status = kExitSomeFailed;
}

}  // namespace qvhost
