#include "platform/imageformats/tiff/directory/pyramid.h"

#include <cmath>

namespace imageformats::tiff {
namespace {

// Levels of one chain that are looked at; a halving pyramid of the largest picture has 31.
constexpr std::size_t kMaxLevels = 64;

bool SameLayout(const SIfdSummary& a, const SIfdSummary& b) noexcept {
  return a.bits == b.bits && a.samples == b.samples;
}

}  // namespace

bool IsReduction(SSize full, SSize level) noexcept {
  if (level.width == 0 || level.height == 0 || level.width > full.width || level.height > full.height) return false;
  if (level == full) return false;
  // Writers round sides up or down, some at every level: two pixels are within that.
  constexpr double kRounding = 2.0;
  const double byWidth = double{1} * full.width / level.width, byHeight = double{1} * full.height / level.height;
  return std::fabs(full.height / byWidth - level.height) <= kRounding ||
         std::fabs(full.width / byHeight - level.width) <= kRounding;
}

bool IsFlaggedLevel(const SIfdSummary& full, const SIfdSummary& level) noexcept {
  return SameLayout(full, level) && IsReduction({full.width, full.height}, {level.width, level.height});
}

bool IsUnflaggedLevel(const SIfdSummary& full, const SIfdSummary& level) noexcept {
  if (!SameLayout(full, level)) return false;
  if (!IsReduction({full.width, full.height}, {level.width, level.height})) return false;
  const double factor = double{1} * full.width / level.width;
  const double power = std::exp2(std::round(std::log2(factor)));
  const double exact = full.width / power;
  return power >= 2.0 && std::fabs(exact - level.width) <= 2.0;
}

std::vector<SIfdSummary> SubIfdLevels(const CInput& input, const SPage& page) {
  std::vector<SIfdSummary> levels;
  for (const SIfdSummary& ifd : ReadIfdChainsFrom(input, page.subIfds, kMaxLevels)) {
    const bool sameLayout = ifd.bits == page.bits && ifd.samples == page.samples;
    if (sameLayout && IsReduction(page.Size(), {ifd.width, ifd.height})) levels.push_back(ifd);
  }
  return levels;
}

std::uint64_t ChooseLevel(const SPage& page, const std::vector<SIfdSummary>& levels, SSize wanted) noexcept {
  std::uint64_t best = page.offset;
  SSize bestSize = page.Size();
  for (const SIfdSummary& level : levels) {
    if (level.width < wanted.width || level.height < wanted.height || level.width >= bestSize.width) continue;
    best = level.offset;
    bestSize = {level.width, level.height};
  }
  return best;
}

}  // namespace imageformats::tiff
