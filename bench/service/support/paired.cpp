#include "bench/service/support/paired.h"

#include <malloc.h>

#include <cstdio>
#include <exception>
#include <limits>

#include "bench/median.h"

namespace qvbench {
namespace {

std::string FormatTime(double seconds) {
  char text[32];
  const bool small = seconds < 1e-3;
  std::snprintf(text, sizeof text, "%.3g %s", seconds * (small ? 1e6 : 1e3), small ? "us" : "ms");
  return text;
}

std::string LimitText(EMeasure value, double limit) {
  char text[32];
  std::snprintf(text, sizeof text, "%s %g%s", value == EMeasure::SpeedAtLeast ? "at least" : "at most", limit,
                value == EMeasure::MillisecondsAtMost ? " ms" : "");
  return text;
}

// One row of a Markdown table for each benchmark.
class CRowReporter : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.error_occurred) {
        std::printf("| %s | %s |\n", run.run_name.function_name.c_str(), run.error_message.c_str());
      } else if (run.run_type == Run::RT_Iteration) {
        Print(run);
      }
    }
    std::fflush(stdout);
  }

 private:
  static void Print(const Run& run) {
    const auto counter = [&](const char* name) { return run.counters.at(name).value; };
    const auto value = static_cast<EMeasure>(static_cast<int>(counter("kind")));
    const double measured = counter("value"), limit = counter("limit");
    const bool holds = value == EMeasure::SpeedAtLeast ? measured >= limit : measured <= limit;
    std::printf("| %s | %s | %s | %.2f |", run.run_name.function_name.c_str(), FormatTime(counter("ours")).c_str(),
                FormatTime(counter("bare")).c_str(), measured);
    if (limit == 0) {
      std::printf(" | |\n");
    } else {
      std::printf(" %s | %s |\n", LimitText(value, limit).c_str(), holds ? "PASS" : "short");
    }
  }
};

// By default malloc gives a picture's memory back to the system as soon as it is freed and gets it anew, page by page,
// for the next: up to a third of the time of a read, more or less as other allocations happen to lie, on either side.
void KeepFreedMemory() {
  mallopt(M_MMAP_THRESHOLD, std::numeric_limits<int>::max());
  mallopt(M_TRIM_THRESHOLD, std::numeric_limits<int>::max());
}

}  // namespace

void CPairedRounds::Add(double ours, double bare) {
  m_state.SetIterationTime(ours);
  m_ours.push_back(ours / m_operations);
  m_bare.push_back(bare / m_operations);
  switch (m_limit.value) {
    case EMeasure::RatioAtMost:
      m_values.push_back(ours / bare);
      break;
    case EMeasure::SpeedAtLeast:
      m_values.push_back(bare / ours);
      break;
    case EMeasure::MillisecondsAtMost:
      m_values.push_back((ours - bare) / m_operations * 1e3);
      break;
  }
}

void CPairedRounds::Report() {
  m_state.counters["ours"] = Median(m_ours);
  m_state.counters["bare"] = Median(m_bare);
  m_state.counters["value"] = Median(m_values);
  m_state.counters["limit"] = m_limit.limit;
  m_state.counters["kind"] = static_cast<double>(m_limit.value);
}

}  // namespace qvbench

int main(int argc, char** argv) try {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  qvbench::KeepFreedMemory();
  qvbench::CRowReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "%s\n", error.what());
  return 1;
}
