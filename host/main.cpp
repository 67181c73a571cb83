#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <exception>
#include <string>
#include <utility>
#include <vector>

#include "host/commands/program.h"
#include "host/commands/usage_message.h"
#include "host/output/text.h"
#include "host/session/diagnostics.h"
#include "host/session/interrupt.h"
#include "host/session/sqlite.h"

namespace {

int Run(int argc, char** argv) {
  CLI::App app("", "qvthumbs");
  qvhost::SOutcome outcome;
  bool verbose = false;
  qvhost::BuildProgram(app, outcome, &verbose);
  app.failure_message(&qvhost::UsageMessage);
  try {
    // The parser takes the last argument first.
    std::vector<std::string> arguments = qvhost::WithoutHelpVerb({argv + std::min(argc, 1), argv + argc});
    std::reverse(arguments.begin(), arguments.end());
    app.parse(std::move(arguments));
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
