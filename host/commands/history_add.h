#pragma once

#include "host/commands/command.h"

namespace qvhost {

void AddHistoryAddCommand(CCommand parent, SOutcome& outcome);

}  // namespace qvhost
