#include "host/manual/manual_page.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <vector>

namespace qvhost {
namespace {

// Plain text in roff: a line must not begin as a request, and a hyphen is no minus.
std::string Escaped(const std::string& text) {
  std::string roff;
  for (const char c : text) {
    if ((c == '.' || c == '\'') && (roff.empty() || roff.back() == '\n')) roff += "\\&";
    if (c == '\\') {
      roff += "\\e";
    } else if (c == '-') {
      roff += "\\-";
    } else {
      roff += c;
    }
  }
  return roff;
}

std::string UpperCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return text;
}

std::vector<std::string> Paragraphs(const std::string& text) {
  std::vector<std::string> paragraphs;
  for (std::size_t from = 0; from < text.size();) {
    const std::size_t end = std::min(text.find("\n\n", from), text.size());
    paragraphs.push_back(text.substr(from, end - from));
    from = end + 2;
  }
  return paragraphs;
}

std::string CommandName(const CLI::App& app) {
  return app.get_parent() ? CommandName(*app.get_parent()) + " " + app.get_name() : app.get_name();
}

std::vector<const CLI::App*> VerbsOf(const CLI::App& app) {
  return app.get_subcommands([](const CLI::App*) { return true; });
}

std::string ValueOf(const CLI::Option& option) {
  return option.get_expected_max() == 0 ? std::string() : option.get_type_name();
}

std::string Synopsis(const CLI::App& app) {
  std::string text = fmt::format(".B {}\n[\\fIOPTIONS\\fR]", Escaped(CommandName(app)));
  if (!VerbsOf(app).empty()) text += " \\fIVERB\\fR ...";
  for (const CLI::Option* option : app.get_options()) {
    if (!option->get_positional()) continue;
    const std::string name =
        "\\fI" + Escaped(UpperCase(option->get_name(true))) + "\\fR" + (option->get_expected_max() > 1 ? "..." : "");
    text += option->get_required() ? " " + name : " [" + name + "]";
  }
  return text + "\n";
}

std::string Entry(const CLI::Option& option) {
  std::string names;
  if (option.get_positional()) {
    names = "\\fI" + Escaped(UpperCase(option.get_name(true))) + "\\fR";
  } else {
    for (const std::string& name : option.get_snames()) names += ", \\fB\\-" + Escaped(name) + "\\fR";
    for (const std::string& name : option.get_lnames()) names += ", \\fB\\-\\-" + Escaped(name) + "\\fR";
    names.erase(0, 2);
    if (const std::string value = ValueOf(option); !value.empty()) names += " \\fI" + Escaped(value) + "\\fR";
  }
  return ".TP\n" + names + "\n" + Escaped(option.get_description()) + "\n";
}

std::string Entries(const CLI::App& app, bool positional) {
  std::string text;
  for (const CLI::Option* option : app.get_options()) {
    if (option->get_positional() == positional) text += Entry(*option);
  }
  return text;
}

std::string VerbEntries(const CLI::App& app) {
  std::string text;
  for (const CLI::App* verb : VerbsOf(app)) {
    text += fmt::format(".TP\n\\fB{}\\fR\n{}; see {}(1)\n", Escaped(verb->get_name()), Escaped(verb->get_description()),
                        Escaped(ManualName(*verb)));
  }
  return text;
}

// Of a footer's paragraphs those that are examples, or the others.
std::string Notes(const CLI::App& app, bool examples) {
  std::string text;
  for (const std::string& paragraph : Paragraphs(app.get_footer())) {
    if (paragraph.starts_with("Example") != examples) continue;
    text += examples ? ".PP\n.nf\n" + Escaped(paragraph) + "\n.fi\n" : ".PP\n" + Escaped(paragraph) + "\n";
  }
  return text;
}

std::string Section(const char* name, const std::string& text) {
  return text.empty() ? std::string() : fmt::format(".SH {}\n{}", name, text);
}

std::string SeeAlso(const CLI::App& app) {
  return app.get_parent() ? fmt::format(".BR {} (1)\n", Escaped(ManualName(*app.get_parent()))) : std::string();
}

}  // namespace

std::string ManualName(const CLI::App& app) {
  std::string name = CommandName(app);
  std::replace(name.begin(), name.end(), ' ', '-');
  return name;
}

std::string ManualPage(const CLI::App& app, const std::string& version) {
  const std::string name = ManualName(app);
  return fmt::format(".TH {} 1 \"\" \"{}\" \"User Commands\"\n", Escaped(UpperCase(name)), Escaped(version)) +
         Section("NAME", fmt::format("{} \\- {}\n", Escaped(name), Escaped(app.get_description()))) +
         Section("SYNOPSIS", Synopsis(app)) + Section("DESCRIPTION", Notes(app, false)) +
         Section("VERBS", VerbEntries(app)) + Section("ARGUMENTS", Entries(app, true)) +
         Section("OPTIONS", Entries(app, false)) + Section("EXAMPLES", Notes(app, true)) +
         Section("SEE ALSO", SeeAlso(app));
}

}  // namespace qvhost
