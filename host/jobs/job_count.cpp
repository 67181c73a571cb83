#include "host/jobs/job_count.h"

#include <fmt/format.h>
#include <sched.h>

#include <algorithm>
#include <charconv>
#include <thread>

#include "host/host_error.h"
#include "host/output/text.h"

namespace qvhost {
namespace {

constexpr int kMostJobs = 256;

int UsableProcessors() {
  cpu_set_t usable;
  // Fails on a machine with more processors than the set has room for.
  if (sched_getaffinity(0, sizeof usable, &usable) == 0) return CPU_COUNT(&usable);
  return static_cast<int>(std::thread::hardware_concurrency());
}

}  // namespace

int ParseJobCount(const std::string& text) {
  int count = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, count);
  const bool isNumber = error == std::errc() && stop == end;
  if (text == "auto" || (isNumber && count == 0)) return std::clamp(UsableProcessors(), 1, kMostJobs);
  if (isNumber && count >= 1 && count <= kMostJobs) return count;
  throw CHostError(fmt::format("--jobs '{}' is no whole number from 0 to {}, nor auto", Printable(text), kMostJobs));
}

}  // namespace qvhost
