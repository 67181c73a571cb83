#pragma once

#include <memory>
#include <string>

#include "host/commands/command_line.h"
#include "host/host_error.h"
#include "host/session/database_choice.h"

namespace qvhost {

// One function for each verb adds its subcommand with options and help; the subcommand's callback does the work and
// leaves the exit status here. What cannot be done throws CHostError.
struct SRun {
  int status = kExitOk;
  bool verbose = false;
};

void AddMakeCommand(CLI::App* app, SRun& run);
void AddShowCommand(CLI::App* app, SRun& run);
void AddInfoCommand(CLI::App* app, SRun& run);
void AddGalleryCommand(CLI::App* app, SRun& run);
void AddImportCommand(CLI::App* app, SRun& run);
void AddStatsCommand(CLI::App* app, SRun& run);
void AddPruneCommand(CLI::App* app, SRun& run);
void AddVerifyCommand(CLI::App* app, SRun& run);
void AddHistoryCommand(CLI::App* app, SRun& run);
void AddExperimentsCommand(CLI::App* app, SRun& run);
void AddStoredCommand(CLI::App* app, SRun& run);

// "qvthumbs 1.2.3" and the libraries that it runs with, a line each.
std::string VersionText();

// Options that several verbs share.
void AddDatabaseOptions(CLI::App* command, SDatabaseOptions* options);
void AddJsonOption(CLI::App* command, bool* json);
void AddQualityOption(CLI::App* command, std::string* quality);

// A verb below another verb ("history list"). SArguments has `database` and `json`; `work` throws CHostError.
template <class SArguments>
CLI::App* AddVerb(CLI::App* parent, const char* name, const char* description, const char* example,
                  const std::shared_ptr<SArguments>& arguments, void (*work)(const SArguments&)) {
  CLI::App* command = AddVerb(parent, name, description);
  AddDatabaseOptions(command, &arguments->database);
  AddJsonOption(command, &arguments->json);
  SetFooter(command, std::string("Example:\n  ") + example);
  SetWork(command, [arguments, work] { work(*arguments); });
  return command;
}

struct STimeRange {
  std::string since, until;  // as typed

  // Julian day numbers; the widest range for what was not given. Throws CHostError for a text that is no time.
  double From() const;
  double To() const;
};
void AddTimeRangeOptions(CLI::App* command, STimeRange* range);

// ISO 8601 to a Julian day number. Throws CHostError that names the option.
double ParseTime(const std::string& text, const char* option);

// Prints "qvthumbs: NAME: REASON" to standard error and makes the command end with kExitSomeFailed.
void ReportFailure(SRun& run, const std::string& name, const std::string& reason);

}  // namespace qvhost
