#pragma once

#include <cstdint>
#include <vector>

#include "platform/imageformats/tiff/directory/ifd_chain.h"
#include "platform/imageformats/tiff/directory/page.h"

namespace imageformats::tiff {

// Whether `level` shows all of `full`, smaller: both sides divided by one factor above 1, up to rounding.
bool IsReduction(SSize full, SSize level) noexcept;

// Whether a page of the main chain that is flagged as reduced is a pyramid level of the first one. Previews of another
// pixel layout are none.
bool IsFlaggedLevel(const SIfdSummary& full, const SIfdSummary& level) noexcept;

// Whether a page of the main chain that is not flagged as reduced can be taken for a pyramid level of the first one:
// the sides divided by a power of two. A stack of unrelated sizes is none.
bool IsUnflaggedLevel(const SIfdSummary& full, const SIfdSummary& level) noexcept;

// The reduced copies of a page in its sub-IFDs and the chains that start there. Copies of another pixel layout are
// left out.
std::vector<SIfdSummary> SubIfdLevels(const CInput& input, const SPage& page);

// The directory of the smallest level that still has `wanted` pixels (stored orientation); the page's own when none
// but it has.
std::uint64_t ChooseLevel(const SPage& page, const std::vector<SIfdSummary>& levels, SSize wanted) noexcept;

}  // namespace imageformats::tiff
