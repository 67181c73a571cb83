#include "host/commands/gallery_report.h"

#include <cstdio>

#include "host/output/text.h"

namespace qvhost {

void ReportGallery(const COutputTarget& target, std::int64_t pictures) {
  std::fprintf(target.IsStandardOutput() ? stderr : stdout, "%s: %s\n", Printable(target.Name()).c_str(),
               FormatCountOf(pictures, "picture").c_str());
}

}  // namespace qvhost
