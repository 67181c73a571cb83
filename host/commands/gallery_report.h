#pragma once

#include <cstdint>

#include "host/output/output_target.h"

namespace qvhost {

// Tells of a gallery that was written, where its page is not.
void ReportGallery(const COutputTarget& target, std::int64_t pictures);

}  // namespace qvhost
