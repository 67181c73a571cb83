#pragma once

#include <string>

namespace CLI {
class App;
}

namespace qvhost {

// "qvthumbs-history-list" of a verb below a verb.
std::string ManualName(const CLI::App& app);

// The page of section 1 about a command, made of its help: options, verbs below it, notes and examples.
std::string ManualPage(const CLI::App& app, const std::string& version);

}  // namespace qvhost
