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
// verb, so only command_line.cpp and main.cpp include it. Both classes are handles: copies mean the same thing, and the
// program's CLI::App has to outlive them.

class COption {
 public:
  explicit COption(CLI::Option* option) : m_option(option) {}

  // What the help calls the value.
  COption& Type(const char* name);
  COption& Required();
  // Only together with the other one; never together with it.
  COption& Needs(const COption& other);
  COption& Excludes(const COption& other);
  COption& Positive();
  COption& NotNegative();
  COption& Between(int least, int most);
  // Names of files that are there: one that is not, but would be with every \xNN taken for its byte, is that one. An
  // empty one is refused.
  COption& FileNames();
  // An empty text is refused with this reason.
  COption& NotEmpty(const char* reason);
  // Of a list: one value behind each mention of the option.
  COption& Each();
  COption& OneOf(const std::vector<std::string>& texts);

  bool IsGiven() const;

 private:
  CLI::Option* m_option;
};

class CCommand {
 public:
  explicit CCommand(CLI::App* app) : m_app(app) {}

  CCommand AddVerb(const char* name, const char* description);
  // One of the verbs below has to be given.
  void RequireVerb();

  // The values have to live as long as the program. A name without dashes is a positional argument.
  COption AddFlag(const char* names, bool* value, const char* description);
  COption AddOption(const char* names, int* value, const char* description);
  COption AddOption(const char* names, std::string* value, const char* description);
  COption AddOption(const char* names, std::vector<std::string>* values, const char* description);
  // Each text is handed over as it is read.
  COption AddOption(const char* names, std::function<void(const std::string&)> take, const char* description);

  std::string GetFooter() const;
  void SetFooter(const std::string& footer);
  void SetWork(std::function<void()> work);

 private:
  CLI::App* m_app;
};

}  // namespace qvhost
