#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <vector>

#include "host/host_error.h"
#include "host/output/json.h"
#include "host/output/text.h"
#include "host/session/database_choice.h"

namespace qvhost {

// One function for each verb adds its subcommand with options and help; the subcommand's callback does the work and
// leaves the exit status here. What cannot be done throws.
struct SOutcome {
  int status = kExitOk;
};

void AddMakeCommand(CLI::App& app, SOutcome& outcome);
void AddShowCommand(CLI::App& app, SOutcome& outcome);
void AddInfoCommand(CLI::App& app, SOutcome& outcome);
void AddGalleryCommand(CLI::App& app, SOutcome& outcome);
void AddImportCommand(CLI::App& app, SOutcome& outcome);
void AddStatsCommand(CLI::App& app, SOutcome& outcome);
void AddPruneCommand(CLI::App& app, SOutcome& outcome);
void AddVerifyCommand(CLI::App& app, SOutcome& outcome);
void AddHistoryCommand(CLI::App& app, SOutcome& outcome);
void AddExperimentsCommand(CLI::App& app, SOutcome& outcome);
void AddStoredCommand(CLI::App& app, SOutcome& outcome);

// "qvthumbs 1.2.3" and the libraries that it runs with, a line each.
std::string VersionText();

// Options that several verbs share.
void AddDatabaseOptions(CLI::App* command, SDatabaseOptions* options);
void AddJsonOption(CLI::App* command, bool* json);
void AddQualityOption(CLI::App* command, bool* highQuality);
void AddRecursiveOption(CLI::App* command, bool* recursive);

// An option or argument that must be given. `type` stands for its value in the help.
template <class T>
void AddRequired(CLI::App* command, const char* name, T* value, const char* description, const char* type) {
  command->add_option(name, *value, description)->required()->type_name(type);
}

// A check whose description does not stand in the help, beside the option's type.
inline CLI::Validator Unmentioned(CLI::Validator check) { return check.description(""); }

// A verb below another verb ("history list"). SArguments has `database` and `json`; `work` takes them and may throw.
template <class SArguments, class Work>
CLI::App* AddVerb(CLI::App* parent, const char* name, const char* description, const char* example,
                  const std::shared_ptr<SArguments>& arguments, Work work) {
  CLI::App* command = parent->add_subcommand(name, description);
  AddDatabaseOptions(command, &arguments->database);
  AddJsonOption(command, &arguments->json);
  command->footer(std::string("Example:\n  ") + example);
  command->callback([arguments, work] { work(*arguments); });
  return command;
}

// The outcome of a command that lists something: the document, or the table, or the text for an empty one.
void PrintList(bool json, const CJson& document, const CTable& table, const std::string& nothing);

// What the user named by a number that is not there.
CHostError NoSuchExperiment(int id, int status);
CHostError NoSuchStoredItem(int id, int status);

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
void ReportFailure(SOutcome& outcome, const std::string& name, const std::string& reason);

}  // namespace qvhost
