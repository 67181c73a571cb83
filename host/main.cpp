#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>

#include "host/commands/command.h"
#include "host/output/text.h"
#include "host/session/diagnostics.h"
#include "host/session/interrupt.h"
#include "host/session/sqlite.h"

namespace {

void AddCommands(qvhost::CCommand program, qvhost::SOutcome& outcome) {
  qvhost::AddMakeCommand(program, outcome);
  qvhost::AddShowCommand(program, outcome);
  qvhost::AddInfoCommand(program, outcome);
  qvhost::AddGalleryCommand(program, outcome);
  qvhost::AddServeCommand(program);
  qvhost::AddWatchCommand(program);
  qvhost::AddPlateCommand(program, outcome);
  qvhost::AddImportCommand(program, outcome);
  qvhost::AddStatsCommand(program, outcome);
  qvhost::AddMergeCommand(program, outcome);
  qvhost::AddPruneCommand(program, outcome);
  qvhost::AddVerifyCommand(program, outcome);
  qvhost::AddHistoryCommand(program, outcome);
  qvhost::AddExperimentsCommand(program, outcome);
  qvhost::AddStoredCommand(program, outcome);
}

std::string VerbList(const CLI::App& app) {
  std::string list;
  for (const CLI::App* verb : app.get_subcommands([](const CLI::App*) { return true; })) {
    list += (list.empty() ? "" : ", ") + verb->get_name();
  }
  return list;
}

// What is wrong with the command line, and where to read on.
std::string UsageMessage(const CLI::App* app, const CLI::Error& error) {
  // What no verb takes is handed up to the program itself.
  const std::vector<std::string> unknown = app->remaining(true);
  std::string verb = app->get_name();
  while (!app->get_subcommands().empty()) {
    app = app->get_subcommands().front();
    verb += " " + app->get_name();
  }
  std::string text = error.what();
  if (error.get_name() == "RequiredError" && !app->get_subcommands([](const CLI::App*) { return true; }).empty()) {
    text = unknown.empty() ? "what to do?" : "there is no verb '" + qvhost::Printable(unknown.front()) + "'.";
    text += " The verbs are " + VerbList(*app) + ".";
  }
  return verb + ": " + text + "\nSee '" + verb + " --help'.\n";
}

int Run(int argc, char** argv) {
  CLI::App app("Thumbnails and text information of microscopy images, and what was acquired when.", "qvthumbs");
  qvhost::SOutcome outcome;
  bool verbose = false;
  app.require_subcommand(1);
  app.fallthrough();
  app.add_flag("-v,--verbose", verbose, "Print what the components report");
  app.set_version_flag("--version", &qvhost::VersionText, "Print the versions of the program and its libraries");
  app.footer(
      "'qvthumbs VERB --help' explains a verb.\n"
      "Exit status: 0 all done, 1 some files failed, 2 wrong use, 130 interrupted.");
  // The flag may stand behind the verb, so the sink is installed once everything is parsed, before the verb runs.
  app.parse_complete_callback([&verbose] { qvhost::CDiagnostics::Get().Install(verbose); });
  app.failure_message(&UsageMessage);
  AddCommands(qvhost::CCommand(&app), outcome);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? qvhost::kExitOk : qvhost::kExitWrongUse;
  }
  return outcome.status;
}

void Report(const std::string& text) {
  std::fprintf(stderr, "qvthumbs: %s\n", qvhost::PrintableLines(CQvStringUtils::UTF8toW(text)).c_str());
}

}  // namespace

int main(int argc, char** argv) {
  qvhost::CInterrupt::Install();
  qvhost::CDiagnostics::Get().Install(false);
  try {
    return Run(argc, argv);
  } catch (const qvhost::CHostError& error) {
    Report(error.what());
    return error.Status();
  } catch (const std::exception& error) {
    Report(qvhost::ErrorText(error));
    return qvhost::kExitWrongUse;
  }
}
