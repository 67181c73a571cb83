#pragma once

#include <string>

namespace CLI {
class App;
}

namespace qvhost {

// Scripts by which shells complete the program's verbs, options and their values.
std::string BashCompletion(const CLI::App& app);
std::string ZshCompletion(const CLI::App& app);

}  // namespace qvhost
