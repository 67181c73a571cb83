// Structural similarity of two pictures of one size, binary PPM files: 1 for equal ones.
//   ssim A.ppm B.ppm
// Mean over all pixels and the three colours, Gaussian window of 11 x 11 with sigma 1.5, K1 0.01, K2 0.03; at the
// borders the window is cut and its weights scaled.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using SPlane = std::vector<double>;

struct SPicture {
  int width = 0, height = 0;
  std::array<SPlane, 3> planes;
};

constexpr int kRadius = 5;
constexpr double kSigma = 1.5, kC1 = 0.01 * 255 * 0.01 * 255, kC2 = 0.03 * 255 * 0.03 * 255;

SPicture ReadPpm(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::string magic;
  SPicture picture;
  int most = 0;
  file >> magic >> picture.width >> picture.height >> most;
  file.get();
  if (!file || magic != "P6" || most != 255 || picture.width < 1 || picture.height < 1) {
    throw std::runtime_error(path + " is no binary PPM of 8 bits");
  }
  const std::size_t pixels = std::size_t(picture.width) * std::size_t(picture.height);
  std::string bytes(pixels * 3, '\0');
  if (!file.read(bytes.data(), static_cast<std::streamsize>(bytes.size())))
    throw std::runtime_error(path + " is short");
  for (std::size_t c = 0; c < 3; ++c) {
    picture.planes[c].resize(pixels);
    for (std::size_t i = 0; i < pixels; ++i) picture.planes[c][i] = static_cast<unsigned char>(bytes[i * 3 + c]);
  }
  return picture;
}

// Along one axis: `count` values `step` apart.
void SmoothLine(double* line, int count, std::size_t step, std::vector<double>& copy) {
  copy.resize(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) copy[static_cast<std::size_t>(i)] = line[static_cast<std::size_t>(i) * step];
  for (int i = 0; i < count; ++i) {
    double sum = 0.0, weights = 0.0;
    for (int j = std::max(0, i - kRadius); j <= std::min(count - 1, i + kRadius); ++j) {
      const double weight = std::exp(-(j - i) * (j - i) / (2 * kSigma * kSigma));
      sum += weight * copy[static_cast<std::size_t>(j)];
      weights += weight;
    }
    line[static_cast<std::size_t>(i) * step] = sum / weights;
  }
}

SPlane Smooth(SPlane plane, int width, int height) {
  std::vector<double> copy;
  for (int y = 0; y < height; ++y) SmoothLine(&plane[std::size_t(y) * std::size_t(width)], width, 1, copy);
  for (int x = 0; x < width; ++x) SmoothLine(&plane[std::size_t(x)], height, std::size_t(width), copy);
  return plane;
}

SPlane Product(const SPlane& a, const SPlane& b) {
  SPlane product(a.size());
  for (std::size_t i = 0; i < a.size(); ++i) product[i] = a[i] * b[i];
  return product;
}

double Similarity(const SPlane& a, const SPlane& b, int width, int height) {
  const auto smooth = [&](const SPlane& plane) { return Smooth(plane, width, height); };
  const SPlane meanA = smooth(a), meanB = smooth(b);
  const SPlane squareA = smooth(Product(a, a)), squareB = smooth(Product(b, b)), cross = smooth(Product(a, b));
  double sum = 0.0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    const double ma = meanA[i], mb = meanB[i];
    const double va = squareA[i] - ma * ma, vb = squareB[i] - mb * mb, covariance = cross[i] - ma * mb;
    sum += (2 * ma * mb + kC1) * (2 * covariance + kC2) / ((ma * ma + mb * mb + kC1) * (va + vb + kC2));
  }
  return sum / static_cast<double>(a.size());
}

double Compare(const std::string& first, const std::string& second) {
  const SPicture a = ReadPpm(first), b = ReadPpm(second);
  if (a.width != b.width || a.height != b.height) throw std::runtime_error("the pictures differ in size");
  double sum = 0.0;
  for (std::size_t c = 0; c < 3; ++c) sum += Similarity(a.planes[c], b.planes[c], a.width, a.height);
  return sum / 3.0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: ssim A.ppm B.ppm\n");
    return 2;
  }
  try {
    std::printf("%.4f\n", Compare(argv[1], argv[2]));
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "ssim: %s\n", error.what());
    return 1;
  }
}
