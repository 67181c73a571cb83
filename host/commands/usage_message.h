#pragma once

#include <string>

namespace CLI {
class App;
class Error;
}  // namespace CLI

namespace qvhost {

// What is wrong with the command line, what was probably meant, and where to read on.
std::string UsageMessage(const CLI::App* app, const CLI::Error& error);

}  // namespace qvhost
