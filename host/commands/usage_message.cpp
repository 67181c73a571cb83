#include "host/commands/usage_message.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <string_view>
#include <vector>

#include "host/output/suggestion.h"
#include "host/output/text.h"

namespace qvhost {
namespace {

std::vector<std::string> VerbsOf(const CLI::App& app) {
  std::vector<std::string> verbs;
  for (const CLI::App* verb : app.get_subcommands([](const CLI::App*) { return true; })) {
    verbs.push_back(verb->get_name());
  }
  return verbs;
}

std::vector<std::string> OptionsOf(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::Option* option : app.get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  }
  return names;
}

std::string DidYouMean(const std::string& typed, const std::vector<std::string>& words) {
  const std::string similar = FindSimilar(typed, words);
  return similar.empty() ? "" : " Did you mean '" + similar + "'?";
}

std::string UnknownOption(const CLI::App& app, const std::string& typed) {
  const std::string name = typed.substr(0, typed.find('='));
  const std::vector<std::string> known = OptionsOf(app);
  // What stands before the verb is the program's own.
  if (std::find(known.begin(), known.end(), name) != known.end()) {
    return "the option '" + name + "' has to stand behind '" + app.get_name() + "'.";
  }
  return "there is no option '" + Printable(name) + "'." + DidYouMean(name, known);
}

bool IsOption(const std::string& typed) { return typed.size() > 1 && typed[0] == '-'; }

// Of a command whose verb is missing, or is none.
std::string MissingVerb(const CLI::App& app, const std::vector<std::string>& unknown) {
  if (!unknown.empty() && IsOption(unknown.front())) return UnknownOption(app, unknown.front());
  const std::vector<std::string> verbs = VerbsOf(app);
  std::string list;
  for (const std::string& verb : verbs) list += (list.empty() ? "" : ", ") + verb;
  const std::string text =
      unknown.empty() ? "what to do?"
                      : "there is no verb '" + Printable(unknown.front()) + "'." + DidYouMean(unknown.front(), verbs);
  return text + " The verbs are " + list + ".";
}

// "files is required" names an argument, "--output is required" an option.
std::string Missing(const std::string& said) {
  const std::size_t end = said.find(" is required");
  if (end == said.npos) return said;
  const std::string name = said.substr(0, end);
  return IsOption(name) ? name + " has to be given" : "the argument '" + name + "' is missing";
}

// "The following argument was not expected: all"; of several the first.
std::string FirstUnexpected(const std::string& said) {
  constexpr std::string_view kOne = "argument was not expected: ", kMany = "arguments were not expected: ";
  if (const std::size_t at = said.find(kOne); at != said.npos) return said.substr(at + kOne.size());
  const std::size_t at = said.find(kMany);
  if (at == said.npos) return said;
  const std::string list = said.substr(at + kMany.size());
  return list.substr(0, list.find(' '));
}

std::string TextOf(const CLI::App& app, const CLI::Error& error, const std::vector<std::string>& unknown) {
  if (error.get_name() == "RequiredError")
    return VerbsOf(app).empty() ? Missing(error.what()) : MissingVerb(app, unknown);
  if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::ExtrasError)) {
    const std::string first = unknown.empty() ? FirstUnexpected(error.what()) : unknown.front();
    return IsOption(first) ? UnknownOption(app, first) : "'" + Printable(first) + "' is one argument too many";
  }
  return error.what();
}

}  // namespace

std::string UsageMessage(const CLI::App* app, const CLI::Error& error) {
  // What no verb takes is handed up to the program itself.
  const std::vector<std::string> unknown = app->remaining(true);
  std::string verb = app->get_name();
  while (!app->get_subcommands().empty()) {
    app = app->get_subcommands().front();
    verb += " " + app->get_name();
  }
  return verb + ": " + TextOf(*app, error, unknown) + "\nSee '" + verb + " --help'.\n";
}

}  // namespace qvhost
