#include <algorithm>
#include <cstdio>
#include <exception>

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include "bench/corpus/classes.h"

namespace {

namespace fs = std::filesystem;

// Changes whenever the files do, so that an older corpus is not taken for this one.
constexpr int kRevision = 1;

std::string FileName(const SCorpusClass& kind, int number) { return fmt::format("{:02}.{}", number, kind.extension); }

void MakeClass(const fs::path& folder, const SCorpusClass& kind, int scale) {
  fs::create_directories(folder);
  for (int i = 0; i < kind.pictures; ++i) kind.make(folder / FileName(kind, i), i, scale);
  for (int i = kind.pictures; i < kind.batch; ++i) {
    fs::create_hard_link(folder / FileName(kind, i % kind.pictures), folder / FileName(kind, i));
  }
  fs::create_directory(folder / "start");
  kind.makeTiny(folder / "start" / FileName(kind, 0));
}

// Made under another name, so that an interrupted run leaves nothing that looks whole.
void MakeMissingClass(const fs::path& root, const SCorpusClass& kind, int scale) {
  const fs::path folder = root / kind.name, unfinished = root / fmt::format("{}.part", kind.name);
  if (fs::exists(folder)) return;
  fs::remove_all(unfinished);
  fmt::print(stderr, "making {}\n", kind.name);
  MakeClass(unfinished, kind, scale);
  fs::rename(unfinished, folder);
}

}  // namespace

int main(int argc, char** argv) try {
  CLI::App app("Makes the files that decoders are compared on, unless they are there, and prints their folder");
  std::string out, only;
  int scale = 100;
  app.add_option("OUT", out, "The corpus goes to a folder in here that is named by its parameters")->required();
  app.add_option("--class", only, "Make this class only");
  app.add_option("--scale", scale, "Sides of the pictures in percent")
      ->capture_default_str()
      ->check(CLI::Range(1, 100));
  CLI11_PARSE(app, argc, argv);

  const fs::path root = fs::path(out) / fmt::format("corpus-r{}-{}", kRevision, scale);
  const auto wanted = [&only](const SCorpusClass& kind) { return only.empty() || kind.name == only; };
  if (std::ranges::none_of(CorpusClasses(), wanted)) throw std::runtime_error("there is no class " + only);
  for (const SCorpusClass& kind : CorpusClasses()) {
    if (wanted(kind)) MakeMissingClass(root, kind, scale);
  }
  fmt::print("{}\n", root.string());
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "qvbench-corpus: %s\n", error.what());
  return 1;
}
