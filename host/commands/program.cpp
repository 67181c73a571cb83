#include "host/commands/program.h"

#include <CLI/CLI.hpp>

#include "host/session/diagnostics.h"

namespace qvhost {

namespace {

void AddVerbs(CCommand program, SOutcome& outcome) {
  AddMakeCommand(program, outcome);
  AddShowCommand(program, outcome);
  AddThumbnailCommand(program, outcome);
  AddInfoCommand(program, outcome);
  AddGalleryCommand(program, outcome);
  AddFindCommand(program);
  AddServeCommand(program);
  AddWatchCommand(program);
  AddPlateCommand(program, outcome);
  AddImportCommand(program, outcome);
  AddStatsCommand(program, outcome);
  AddMergeCommand(program, outcome);
  AddExportCommand(program, outcome);
  AddPruneCommand(program, outcome);
  AddVerifyCommand(program, outcome);
  AddRescueCommand(program, outcome);
  AddHistoryCommand(program, outcome);
  AddExperimentsCommand(program, outcome);
  AddStoredCommand(program, outcome);
}

}  // namespace

void BuildProgram(CLI::App& app, SOutcome& outcome, bool* verbose) {
  app.description("Thumbnails and text information of microscopy images, and what was acquired when.");
  app.require_subcommand(1);
  app.fallthrough();
  app.add_flag("-v,--verbose", *verbose, "Print what the components report");
  app.set_version_flag("--version", &VersionText, "Print the versions of the program and its libraries");
  app.footer(
      "'qvthumbs VERB --help' explains a verb.\n"
      "Without --db FILE, the variable QVTHUMBS_DB names the database.\n"
      "Exit status: 0 all done, 1 some files failed, 2 wrong use, 130 interrupted.");
  // The flag may stand behind the verb, so the sink is installed once everything is parsed, before the verb runs.
  app.parse_complete_callback([verbose] { CDiagnostics::Get().Install(*verbose); });
  AddVerbs(CCommand(&app), outcome);
}

std::vector<std::string> WithoutHelpVerb(std::vector<std::string> arguments) {
  if (arguments.empty() || arguments.front() != "help") return arguments;
  arguments.erase(arguments.begin());
  arguments.push_back("--help");
  return arguments;
}

}  // namespace qvhost
