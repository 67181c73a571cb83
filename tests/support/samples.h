#pragma once

#include <string>
#include <vector>

namespace qvtest {

// The folder of real images: QV_SAMPLES, else shared/samples beside the checkout; empty when it is not there.
std::string SamplesFolder();

// One line of sample_outcomes.tsv: what has to become of a file of that folder.
struct SSampleOutcome {
  std::string file;     // below the folder
  std::string outcome;  // "made", "unsupported" or "damaged"
  std::string detail;   // made: the thumbnail's size, as "240 x 180"; else part of the reason
};

// Throws std::runtime_error without the table.
std::vector<SSampleOutcome> ReadSampleOutcomes();

}  // namespace qvtest
