// Writes an image's thumbnail, as the picture source renders it, to a binary PPM file.
//   thumbnail_ppm IMAGE OUT.ppm

#include <cstdio>
#include <fstream>

#include "tests/imageformats/support/opened.h"
#include "tests/support/test_picture.h"
#include "tests/support/thumbnail_size.h"

namespace {

using namespace qvtest;

void Write(const STestPicture& picture, const char* path) {
  std::ofstream file(path, std::ios::binary);
  file << "P6 " << picture.width << ' ' << picture.height << " 255\n";
  for (const std::uint16_t sample : picture.samples) file.put(static_cast<char>(sample));
  if (!file.flush()) throw std::runtime_error("cannot be written");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: thumbnail_ppm IMAGE OUT.ppm\n");
    return 2;
  }
  try {
    const auto image = OpenPath(CQvStringUtils::UTF8toW(argv[1]));
    const SThumbnailSize size = FitInto({480, 180}, image->Info().width, image->Info().height);
    Write(Render(*image, size.width, size.height), argv[2]);
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "thumbnail_ppm: %s: %s\n", argv[1], error.what());
    return 1;
  }
}
