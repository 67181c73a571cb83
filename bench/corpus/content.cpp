#include "bench/corpus/content.h"

#include <algorithm>
#include <string>

#include "tools/samples/fluorescence.h"
#include "tools/samples/photographs.h"
#include "tools/samples/tissue.h"

namespace {

constexpr int kPiece = 2500;
constexpr double kPixelSize = 0.325;
constexpr int kDrift = 37;  // pixels from one plane to the next

// 0, 1, … size - 1, size - 1, … 1, 0, 0, 1, …
int Mirrored(int position, int size) {
  const int inPair = position % (2 * size);
  return inPair < size ? inPair : 2 * size - 1 - inPair;
}

SFieldOptions FieldOptions(int side) {
  SFieldOptions options;
  options.width = options.height = side;
  options.pixelSize = kPixelSize;
  return options;
}

// The plane moved sideways; what leaves on one side comes in on the other.
std::vector<std::uint16_t> Moved(const std::vector<std::uint16_t>& plane, int side, int distance) {
  std::vector<std::uint16_t> moved(plane.size());
  auto to = moved.begin();
  for (auto from = plane.begin(); from != plane.end(); from += side) {
    to = std::rotate_copy(from, from + distance % side, from + side, to);
  }
  return moved;
}

}  // namespace

SRgbImage MakePhotograph(int width, int height, int number) {
  const auto seed = static_cast<std::uint64_t>(number);
  return number % 2 == 0 ? RenderTissue(width, height, seed) : RenderAgarPlate(width, height, seed);
}

SRgbImage MakeMosaic(const SRgbImage& piece, int width, int height) {
  SRgbImage mosaic(width, height);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      std::copy_n(piece.Pixel(Mirrored(x, piece.width), Mirrored(y, piece.height)), 3, mosaic.Pixel(x, y));
    }
  }
  return mosaic;
}

SRgbImage MakeSlide(int side) {
  const int size = std::min(side, kPiece);
  return MakeMosaic(RenderTissue(size, size, 1), side, side);
}

std::vector<std::uint16_t> MakeCells(int side, int number) {
  SFieldOptions options = FieldOptions(side);
  options.channels = 1;
  return MakeField(EFluorescence::kCells, options, static_cast<std::uint64_t>(number)).planes.front();
}

SStack MakeFiveChannels(int side, int sizeZ) {
  SFieldOptions options = FieldOptions(side);
  options.channels = 4;
  SStack stack = MakeField(EFluorescence::kCells, options, 1);
  stack.channels.push_back({"Far red", "Cy7", 0xFFFFFF, 750, 776, 200});
  std::vector<std::vector<std::uint16_t>> first = std::move(stack.planes);
  first.push_back(MakeCells(side, 2));
  stack.planes.clear();
  for (int z = 0; z < sizeZ; ++z) {
    for (const auto& channel : first) stack.planes.push_back(Moved(channel, side, z * kDrift));
  }
  stack.sizeZ = sizeZ;
  stack.zStep = 1;
  return stack;
}
