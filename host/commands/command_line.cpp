#include "host/commands/command_line.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <filesystem>
#include <limits>
#include <utility>

#include "host/output/text.h"

namespace qvhost {
namespace {

// A check whose description does not stand in the help, beside the option's type.
CLI::Validator Unmentioned(CLI::Validator check) { return check.description(""); }

// The check of every number, which a narrower one replaces.
constexpr const char* kAnyNumber = "any number";

// The number as it was typed stands in the message.
CLI::Validator WholeNumber(int least, int most = std::numeric_limits<int>::max()) {
  return CLI::Validator(
      [least, most](const std::string& typed) {
        int value = 0;
        const char* end = typed.data() + typed.size();
        const auto [stop, error] = std::from_chars(typed.data(), end, value);
        if (error == std::errc() && stop == end && value >= least && value <= most) return std::string();
        return "'" + Printable(typed) + "' is no whole number from " + std::to_string(least) + " to " +
               std::to_string(most);
      },
      "");
}

std::string PresentName(const std::string& typed) {
  std::error_code error;
  if (std::filesystem::exists(std::filesystem::symlink_status(typed, error))) return typed;
  const std::string unescaped = UnescapeBytes(typed);
  return std::filesystem::exists(std::filesystem::symlink_status(unescaped, error)) ? unescaped : typed;
}

}  // namespace

COption& COption::Type(const char* name) {
  m_option->type_name(name);
  return *this;
}

COption& COption::Required() {
  m_option->required();
  return *this;
}

COption& COption::Needs(const COption& other) {
  m_option->needs(other.m_option);
  return *this;
}

COption& COption::Excludes(const COption& other) {
  m_option->excludes(other.m_option);
  return *this;
}

COption& COption::Positive() {
  m_option->get_validator(kAnyNumber)->active(false);
  m_option->check(WholeNumber(1));
  return *this;
}

COption& COption::NotNegative() {
  m_option->get_validator(kAnyNumber)->active(false);
  m_option->check(WholeNumber(0));
  return *this;
}

COption& COption::Between(int least, int most) {
  m_option->get_validator(kAnyNumber)->active(false);
  m_option->check(WholeNumber(least, most));
  return *this;
}

COption& COption::FileNames() {
  m_option->transform(CLI::Validator(
      [](std::string& name) {
        if (name.empty()) return std::string("an empty name is no file");
        name = PresentName(name);
        return std::string();
      },
      ""));
  return *this;
}

COption& COption::NotEmpty(const char* reason) {
  m_option->check(
      [text = std::string(reason)](const std::string& value) { return value.empty() ? text : std::string(); });
  return *this;
}

COption& COption::Each() {
  m_option->allow_extra_args(false);
  return *this;
}

COption& COption::OneOf(const std::vector<std::string>& texts) {
  m_option->check(Unmentioned(CLI::IsMember(texts)));
  return *this;
}

bool COption::IsGiven() const { return m_option->count() > 0; }

CCommand CCommand::AddVerb(const char* name, const char* description) {
  return CCommand(m_app->add_subcommand(name, description));
}

void CCommand::RequireVerb() { m_app->require_subcommand(1); }

COption CCommand::AddFlag(const char* names, bool* value, const char* description) {
  return COption(m_app->add_flag(names, *value, description));
}

COption CCommand::AddOption(const char* names, int* value, const char* description) {
  CLI::Option* option = m_app->add_option(names, *value, description);
  option->check(WholeNumber(std::numeric_limits<int>::min()).name(kAnyNumber));
  return COption(option);
}

COption CCommand::AddOption(const char* names, std::string* value, const char* description) {
  return COption(m_app->add_option(names, *value, description));
}

COption CCommand::AddOption(const char* names, std::vector<std::string>* values, const char* description) {
  return COption(m_app->add_option(names, *values, description));
}

COption CCommand::AddOption(const char* names, std::function<void(const std::string&)> take, const char* description) {
  return COption(m_app->add_option_function<std::string>(names, std::move(take), description));
}

std::string CCommand::GetFooter() const { return m_app->get_footer(); }

void CCommand::SetFooter(const std::string& footer) { m_app->footer(footer); }

void CCommand::SetWork(std::function<void()> work) { m_app->callback(std::move(work)); }

}  // namespace qvhost
