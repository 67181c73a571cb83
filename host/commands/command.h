#pragma once

#include <memory>
#include <string>

#include "host/commands/command_line.h"
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

void AddMakeCommand(CCommand program, SOutcome& outcome);
void AddShowCommand(CCommand program, SOutcome& outcome);
void AddThumbnailCommand(CCommand program, SOutcome& outcome);
void AddInfoCommand(CCommand program, SOutcome& outcome);
void AddPlateCommand(CCommand program, SOutcome& outcome);
void AddGalleryCommand(CCommand program, SOutcome& outcome);
void AddFindCommand(CCommand program);
void AddServeCommand(CCommand program);
void AddWatchCommand(CCommand program);
void AddImportCommand(CCommand program, SOutcome& outcome);
void AddStatsCommand(CCommand program, SOutcome& outcome);
void AddMergeCommand(CCommand program, SOutcome& outcome);
void AddExportCommand(CCommand program, SOutcome& outcome);
void AddPruneCommand(CCommand program, SOutcome& outcome);
void AddVerifyCommand(CCommand program, SOutcome& outcome);
void AddRescueCommand(CCommand program, SOutcome& outcome);
void AddHistoryCommand(CCommand program, SOutcome& outcome);
void AddExperimentsCommand(CCommand program, SOutcome& outcome);
void AddStoredCommand(CCommand program, SOutcome& outcome);

// "qvthumbs 1.2.3" and the libraries that it runs with, a line each.
std::string VersionText();

// Options that several verbs share.
void AddDatabaseOptions(CCommand command, SDatabaseOptions* options);
COption AddJsonOption(CCommand command, bool* json);
void AddQualityOption(CCommand command, bool* highQuality);
// What thumbnails show of pictures with several planes; the database follows it.
void AddViewOptions(CCommand command, SDatabaseOptions* options);
void AddRecursiveOption(CCommand command, bool* recursive);
void AddDryRunOption(CCommand command, bool* dryRun);
void AddUnderOption(CCommand command, std::string* folder, const char* description);

// An option or argument that must be given. `type` stands for its value in the help.
template <class T>
COption AddRequired(CCommand command, const char* name, T* value, const char* description, const char* type) {
  return command.AddOption(name, value, description).Required().Type(type);
}

// A verb below another verb ("history list"). SArguments has `database` and `json`; `work` takes them and may throw.
template <class SArguments, class Work>
CCommand AddVerb(CCommand parent, const char* name, const char* description, const char* example,
                 const std::shared_ptr<SArguments>& arguments, Work work) {
  CCommand command = parent.AddVerb(name, description);
  AddDatabaseOptions(command, &arguments->database);
  AddJsonOption(command, &arguments->json);
  command.SetFooter(std::string("Example:\n  ") + example);
  command.SetWork([arguments, work] { work(*arguments); });
  return command;
}

// The outcome of a command that lists something: the document, or the table, or the text for an empty one.
void PrintList(bool json, const CJson& document, const CTable& table, const std::string& nothing);

// What the user named by a number that is not there.
CHostError NoSuchExperiment(int id);
CHostError NoSuchStoredItem(int id);

struct STimeRange {
  std::string since, until;  // as typed

  // Julian day numbers; the widest range for what was not given. Throws CHostError for a text that is no time.
  double From() const;
  double To() const;
};
void AddTimeRangeOptions(CCommand command, STimeRange* range);

// A text that ParseTimeText knows to a Julian day number. Throws CHostError that names the option.
double ParseTime(const std::string& text, const char* option);

// Prints "qvthumbs: NAME: REASON" to standard error and makes the command end with kExitSomeFailed.
void ReportFailure(SOutcome& outcome, const std::string& name, const std::string& reason);

}  // namespace qvhost
