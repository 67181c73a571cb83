#pragma once

#include <cstddef>

#include "platform/imageformats/base/helper_threads.h"
#include "platform/imageformats/base/work_ahead.h"

// While it lives, every picture of at least two pieces is shared by as many threads as if there were so many
// processors; 1: by none.
class CHelped {
 public:
  explicit CHelped(std::size_t processors) {
    imageformats::SetProcessorsForTest(processors);
    imageformats::SetAlwaysWorthHelpForTest(processors > 1);
  }
  CHelped(const CHelped&) = delete;
  CHelped& operator=(const CHelped&) = delete;
  ~CHelped() {
    imageformats::SetProcessorsForTest(0);
    imageformats::SetAlwaysWorthHelpForTest(false);
  }
};
