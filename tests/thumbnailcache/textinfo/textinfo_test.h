#pragma once

#include "tests/thumbnailcache/support/service_test.h"

namespace qvtest {

// Everything that GetFileTextInfo fills.
struct STextInfo {
  SQvImageTextInfo text;
  SQvImageInfo info;
  double calibration = -1.0;
  CQvStringW objective;
  double acqTime = -1.0;
  std::int64_t fileSize = -1;
  std::uint32_t loops[4] = {91, 92, 93, 94};  // time, z, stage positions, channels

  std::int32_t Read(IQvThumbnailCache& cache, const std::wstring& path) {
    return cache.GetFileTextInfo(path.c_str(), text, info, calibration, objective, acqTime, fileSize, loops);
  }
  std::vector<std::uint32_t> Loops() const { return {loops, loops + 4}; }
};

// The fourteen texts, in order.
inline std::vector<CQvStringW*> Texts(SQvImageTextInfo& text) {
  return {&text.imageID,     &text.type,      &text.group,    &text.sampleID, &text.author,
          &text.description, &text.capturing, &text.sampling, &text.location, &text.date,
          &text.conclusion,  &text.info1,     &text.info2,    &text.optics};
}

}  // namespace qvtest
