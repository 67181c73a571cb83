#pragma once

#include <cstdint>
#include <string>
#include <vector>

// The folder of real images: QV_SAMPLES, else shared/samples beside the checkout; empty when it is not there.
std::string SamplesFolder();

// One line of sample_outcomes.tsv: what has to become of a file of that folder.
struct SSampleOutcome {
  std::string file;     // below the folder
  std::string outcome;  // "made", "unsupported" or "damaged"
  std::string detail;   // made: the thumbnail's size, as "240 x 180"; else part of the reason
};

std::vector<SSampleOutcome> ReadSampleOutcomes();

struct SThumbnailSize {
  std::uint32_t width, height;
};
// The largest size of the picture's shape in a box, at least one pixel.
SThumbnailSize FitInto(SThumbnailSize box, std::uint32_t width, std::uint32_t height);
