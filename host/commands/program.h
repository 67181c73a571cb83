#pragma once

#include <string>
#include <vector>

#include "host/commands/command.h"

namespace qvhost {

// Fills the program's command line: all verbs with their options. `outcome` and `verbose` are written to when it is
// parsed.
void BuildProgram(CLI::App& app, SOutcome& outcome, bool* verbose);

// "help VERB" means the same as "VERB --help".
std::vector<std::string> WithoutHelpVerb(std::vector<std::string> arguments);

}  // namespace qvhost
