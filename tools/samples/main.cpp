#include <cstdio>
#include <exception>

#include <CLI/CLI.hpp>

#include "tools/samples/samples.h"

// Exit status: 0 made, 1 failed, 2 wrong use.
int main(int argc, char** argv) {
  CLI::App app{"Makes a folder of believable microscopy files, the same for the same seed."};
  SSampleOptions options;
  std::string folder;
  app.add_option("OUT", folder, "Folder to make the files in; created if missing")->required();
  app.add_option("--count", options.count, "Ordinary pictures, beside the special ones that are always made")
      ->check(CLI::Range(0, 1000000))
      ->capture_default_str();
  app.add_option("--seed", options.seed, "Another seed makes another lab")->capture_default_str();
  app.add_option("--size", options.sizePercent, "Sides of the pictures in percent of the usual")
      ->check(CLI::Range(5, 400))
      ->capture_default_str();
  app.add_flag("--optional", options.optionalFormats,
               "Also HEIC, AVIF and JPEG XL, as far as this build can write them: not the same files everywhere");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : 2;
  }
  try {
    options.folder = folder;
    const int files = MakeSamples(options);
    std::printf("%d files made in %s\n", files, folder.c_str());
  } catch (const std::exception& error) {
    std::fprintf(stderr, "qvthumbs-samples: %s\n", error.what());
    return 1;
  }
  return 0;
}
