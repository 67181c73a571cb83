#pragma once

#include "host/commands/command.h"

namespace qvhost {

void AddHistoryAddCommand(CLI::App* parent, SOutcome& outcome);

}  // namespace qvhost
