#include "host/commands/command.h"

#include <fmt/format.h>

#include <cstdio>
#include <limits>

#include "system/qvdatetime.h"

namespace qvhost {

void AddDatabaseOptions(CLI::App* command, SDatabaseOptions* options) {
  auto* file = command->add_option("--db", options->file, "Database file (default: your own, in your cache folder)");
  file->type_name("FILE");
  command->add_flag("--all-users", options->allUsers, "Use the database that all users of this machine share")
      ->excludes(file);
}

void AddJsonOption(CLI::App* command, bool* json) { command->add_flag("--json", *json, "Print JSON"); }

void AddQualityOption(CLI::App* command, bool* highQuality) {
  command
      ->add_option_function<std::string>(
          "--quality", [highQuality](const std::string& quality) { *highQuality = quality == "high"; },
          "standard (default, fits 480 x 180 pixels) or high (fits 640 x 240 pixels, averages more carefully)")
      ->check(Unmentioned(CLI::IsMember({"standard", "high"})))
      ->type_name("standard|high");
}

void AddRecursiveOption(CLI::App* command, bool* recursive) {
  command->add_flag("-r,--recursive", *recursive, "Also the folders below");
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

CHostError NoSuchExperiment(int id, int status) {
  return CHostError(fmt::format("there is no experiment {}; 'qvthumbs experiments list' lists them", id), status);
}

CHostError NoSuchStoredItem(int id, int status) {
  return CHostError(fmt::format("there is no stored item {}; 'qvthumbs stored tree' lists them", id), status);
}

void AddTimeRangeOptions(CLI::App* command, STimeRange* range) {
  command->add_option("--since", range->since, "From this time on, e.g. 2024-05-01 or 2024-05-01T09:30 (UTC)")
      ->type_name("TIME");
  command->add_option("--until", range->until, "Before this time")->type_name("TIME");
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

void ReportFailure(SOutcome& outcome, const std::string& name, const std::string& reason) {
  std::fprintf(stderr, "qvthumbs: %s: %s\n", Printable(name).c_str(), reason.c_str());
  outcome.status = kExitSomeFailed;
}

}  // namespace qvhost
