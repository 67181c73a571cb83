#pragma once

#include <string>

#include "host/commands/command_line.h"

namespace qvhost {

// The option --catalog of the verbs that make thumbnails of files.
COption AddCatalogOption(CCommand command, std::string* catalog);

}  // namespace qvhost
