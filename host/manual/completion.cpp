#include "host/manual/completion.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <string_view>
#include <vector>

namespace qvhost {
namespace {

// Both scripts walk over the words that are typed already to a node of the tree of verbs, "qvthumbs/history/list", and
// offer what belongs there. Where nothing is offered the shell completes names of files.
struct SNode {
  std::string path;
  const CLI::App* app;
};

void Collect(const CLI::App& app, const std::string& above, std::vector<SNode>* nodes) {
  const std::string path = above.empty() ? app.get_name() : above + "/" + app.get_name();
  nodes->push_back({path, &app});
  for (const CLI::App* verb : app.get_subcommands([](const CLI::App*) { return true; })) Collect(*verb, path, nodes);
}

std::vector<SNode> NodesOf(const CLI::App& app) {
  std::vector<SNode> nodes;
  Collect(app, "", &nodes);
  return nodes;
}

std::vector<std::string> NamesOf(const CLI::Option& option) {
  std::vector<std::string> names;
  for (const std::string& name : option.get_snames()) names.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) names.push_back("--" + name);
  return names;
}

// The words of "standard|high"; those in capitals stand for something else.
std::string ValuesOf(const CLI::Option& option) {
  std::string values;
  std::string_view rest = option.get_type_name();
  if (rest.find('|') == rest.npos) return values;
  while (!rest.empty()) {
    const std::string_view word = rest.substr(0, rest.find('|'));
    rest.remove_prefix(std::min(word.size() + 1, rest.size()));
    if (std::all_of(word.begin(), word.end(), [](unsigned char c) { return std::islower(c) != 0; })) {
      values += (values.empty() ? "" : " ") + std::string(word);
    }
  }
  return values;
}

bool TakesFile(const CLI::Option& option) {
  constexpr std::string_view kFiles[] = {"FILE", "FOLDER", "PATH", "OUT"};
  return std::find(std::begin(kFiles), std::end(kFiles), option.get_type_name()) != std::end(kFiles);
}

std::string PathPatterns(const std::vector<SNode>& nodes) {
  std::string patterns;
  for (const SNode& node : nodes) {
    if (node.path.find('/') != node.path.npos) patterns += (patterns.empty() ? "" : "|") + node.path;
  }
  return patterns;
}

// `offer` makes the command that offers words.
template <class Offer>
std::string ValueCases(const std::vector<SNode>& nodes, const Offer& offer) {
  std::string cases;
  for (const SNode& node : nodes) {
    for (const CLI::Option* option : node.app->get_options()) {
      if (option->get_positional() || option->get_expected_max() == 0 || TakesFile(*option)) continue;
      std::string patterns;
      for (const std::string& name : NamesOf(*option)) {
        patterns += (patterns.empty() ? "" : "|") + node.path + ":" + name;
      }
      cases += fmt::format("    ({}) {}return ;;\n", patterns, offer(ValuesOf(*option)));
    }
  }
  return cases;
}

std::string OptionWords(const CLI::App& app) {
  std::string words;
  for (const CLI::Option* option : app.get_options()) {
    for (const std::string& name : NamesOf(*option)) words += (words.empty() ? "" : " ") + name;
  }
  return words;
}

std::string VerbWords(const CLI::App& app) {
  std::string words;
  for (const CLI::App* verb : app.get_subcommands([](const CLI::App*) { return true; })) {
    words += (words.empty() ? "" : " ") + verb->get_name();
  }
  return words;
}

// As a single word of a shell, for zsh's "name:description".
std::string Described(const std::string& name, std::string description) {
  std::string word;
  for (const char c : name + ":" + description.substr(0, description.find('\n'))) {
    word += c == '\'' ? std::string("'\\''") : std::string(1, c);
  }
  return " '" + word + "'";
}

}  // namespace

std::string BashCompletion(const CLI::App& app) {
  const std::vector<SNode> nodes = NodesOf(app);
  const auto offer = [](const std::string& words) {
    return fmt::format("COMPREPLY=($(compgen -W '{}' -- \"$cur\")); ", words);
  };
  std::string options, verbs;
  for (const SNode& node : nodes) {
    options += fmt::format("      ({}) {};;\n", node.path, offer(OptionWords(*node.app)));
    if (const std::string words = VerbWords(*node.app); !words.empty()) {
      verbs += fmt::format("    ({}) {};;\n", node.path, offer(words));
    }
  }
  return fmt::format(R"(# bash completion of qvthumbs

_qvthumbs() {{
  local cur=${{COMP_WORDS[COMP_CWORD]}} prev=${{COMP_WORDS[COMP_CWORD - 1]}} node={} word
  COMPREPLY=()
  for word in "${{COMP_WORDS[@]:1:COMP_CWORD - 1}}"; do
    case $node/$word in
      ({}) node=$node/$word ;;
    esac
  done
  case $node:$prev in
{}  esac
  if [[ $cur == -* ]]; then
    case $node in
{}    esac
    return
  fi
  case $node in
{}  esac
}}
complete -o default -F _qvthumbs qvthumbs
)",
                     app.get_name(), PathPatterns(nodes),
                     ValueCases(nodes,
                                [&](const std::string& words) {
                                  return words.empty() ? std::string("compopt +o default 2>/dev/null; ") : offer(words);
                                }),
                     options, verbs);
}

std::string ZshCompletion(const CLI::App& app) {
  const std::vector<SNode> nodes = NodesOf(app);
  std::string options, verbs;
  for (const SNode& node : nodes) {
    std::string words, below;
    for (const CLI::Option* option : node.app->get_options()) {
      for (const std::string& name : NamesOf(*option)) words += Described(name, option->get_description());
    }
    for (const CLI::App* verb : node.app->get_subcommands([](const CLI::App*) { return true; })) {
      below += Described(verb->get_name(), verb->get_description());
    }
    options += fmt::format("      ({}) offers=({}) ;;\n", node.path, words);
    if (!below.empty()) verbs += fmt::format("    ({}) offers=({}) ;;\n", node.path, below);
  }
  return fmt::format(R"(#compdef qvthumbs

_qvthumbs() {{
  local node={} word
  local -a offers
  for word in ${{words[2,CURRENT-1]}}; do
    case $node/$word in
      ({}) node=$node/$word ;;
    esac
  done
  case $node:${{words[CURRENT-1]}} in
{}  esac
  if [[ ${{words[CURRENT]}} == -* ]]; then
    case $node in
{}    esac
    _describe -o option offers
    return
  fi
  case $node in
{}  esac
  if (( $#offers )); then _describe verb offers; else _files; fi
}}

_qvthumbs "$@"
)",
                     app.get_name(), PathPatterns(nodes),
                     ValueCases(nodes,
                                [](const std::string& words) {
                                  return words.empty() ? std::string() : fmt::format("compadd {}; ", words);
                                }),
                     options, verbs);
}

}  // namespace qvhost
