#include "host/commands/command_line.h"

#include <CLI/CLI.hpp>
#include <utility>

namespace qvhost {
namespace {

// Checks say what is wrong by themselves; the help names the type.
CLI::Validator Silent(CLI::Validator check) { return check.description(""); }

CLI::Option* WithRules(CLI::Option* option, const SOptionRules& rules) {
  option->required(rules.required);
  if (*rules.type != '\0') option->type_name(rules.type);
  if (rules.needs) option->needs(rules.needs);
  if (rules.excludes) option->excludes(rules.excludes);
  if (rules.number == ENumber::Positive) option->check(Silent(CLI::PositiveNumber));
  if (rules.number == ENumber::NotNegative) option->check(Silent(CLI::NonNegativeNumber));
  if (rules.whenEmpty) {
    option->check([reason = std::string(rules.whenEmpty)](const std::string& text) {
      return text.empty() ? reason : std::string();
    });
  }
  if (!rules.oneOf.empty()) option->check(Silent(CLI::IsMember(rules.oneOf)));
  return option;
}

}  // namespace

CLI::App* AddVerb(CLI::App* parent, const char* name, const char* description) {
  return parent->add_subcommand(name, description);
}

void RequireVerb(CLI::App* command) { command->require_subcommand(1); }

void SetFooter(CLI::App* command, const std::string& footer) { command->footer(footer); }

void SetWork(CLI::App* command, std::function<void()> work) { command->callback(std::move(work)); }

CLI::Option* AddFlag(CLI::App* command, const char* names, bool* value, const char* description,
                     const SOptionRules& rules) {
  return WithRules(command->add_flag(names, *value, description), rules);
}

CLI::Option* AddOption(CLI::App* command, const char* names, int* value, const char* description,
                       const SOptionRules& rules) {
  return WithRules(command->add_option(names, *value, description), rules);
}

CLI::Option* AddOption(CLI::App* command, const char* names, std::string* value, const char* description,
                       const SOptionRules& rules) {
  return WithRules(command->add_option(names, *value, description), rules);
}

CLI::Option* AddOption(CLI::App* command, const char* names, std::vector<std::string>* values, const char* description,
                       const SOptionRules& rules) {
  return WithRules(command->add_option(names, *values, description), rules);
}

bool IsGiven(const CLI::Option* option) { return option->count() > 0; }

}  // namespace qvhost
