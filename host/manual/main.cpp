#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "host/commands/program.h"
#include "host/manual/completion.h"
#include "host/manual/manual_page.h"

// Writes the manual pages and the completions of shells into a folder, from the program's own command line.

namespace {

namespace fs = std::filesystem;

void Write(const fs::path& path, const std::string& text) {
  fs::create_directories(path.parent_path());
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file << text;
  if (!file.flush()) throw std::runtime_error("cannot write " + path.string());
}

void WritePages(const CLI::App& app, const fs::path& folder, const std::string& version) {
  Write(folder / (qvhost::ManualName(app) + ".1"), qvhost::ManualPage(app, version));
  for (const CLI::App* verb : app.get_subcommands([](const CLI::App*) { return true; })) {
    WritePages(*verb, folder, version);
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "qvthumbs-manual FOLDER VERSION\n");
    return 2;
  }
  try {
    CLI::App app("", "qvthumbs");
    qvhost::SOutcome outcome;
    bool verbose = false;
    qvhost::BuildProgram(app, outcome, &verbose);
    const fs::path folder = argv[1];
    WritePages(app, folder / "man1", argv[2]);
    Write(folder / "bash-completion" / "qvthumbs", qvhost::BashCompletion(app));
    Write(folder / "zsh-completion" / "_qvthumbs", qvhost::ZshCompletion(app));
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "qvthumbs-manual: %s\n", error.what());
    return 1;
  }
}
