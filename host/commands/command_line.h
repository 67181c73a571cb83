#pragma once

#include <functional>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace qvhost {

// What the verbs declare their options with. CLI11's own header takes longer to compile than everything else of a
// verb, so it stays in command_line.cpp and main.cpp.

enum class ENumber { Any, Positive, NotNegative };

struct SOptionRules {
  const char* type = "";  // what the help calls the value
  bool required = false;
  CLI::Option* needs = nullptr;     // only together with that one
  CLI::Option* excludes = nullptr;  // never together with that one
  ENumber number = ENumber::Any;
  const char* whenEmpty = nullptr;  // an empty text is refused with this reason
  std::vector<std::string> oneOf = {};
};

CLI::App* AddVerb(CLI::App* parent, const char* name, const char* description);
// One of the verbs below it has to be given.
void RequireVerb(CLI::App* command);
void SetFooter(CLI::App* command, const std::string& footer);
void SetWork(CLI::App* command, std::function<void()> work);

// The values have to live as long as the command. A name without dashes is a positional argument.
CLI::Option* AddFlag(CLI::App* command, const char* names, bool* value, const char* description,
                     const SOptionRules& rules = {});
CLI::Option* AddOption(CLI::App* command, const char* names, int* value, const char* description,
                       const SOptionRules& rules = {});
CLI::Option* AddOption(CLI::App* command, const char* names, std::string* value, const char* description,
                       const SOptionRules& rules = {});
CLI::Option* AddOption(CLI::App* command, const char* names, std::vector<std::string>* values, const char* description,
                       const SOptionRules& rules = {});

bool IsGiven(const CLI::Option* option);

}  // namespace qvhost
