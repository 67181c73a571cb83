#pragma once

#include <benchmark/benchmark.h>

#include <chrono>
#include <string>
#include <vector>

namespace qvbench {

// How the measured value of a row is made of the times of both sides, and which side of the limit is good.
enum class EMeasure {
  RatioAtMost,        // ours / bare
  SpeedAtLeast,       // bare / ours: how many times as fast as the other side
  MillisecondsAtMost  // ours - bare
};

struct SLimit {
  EMeasure value;
  double limit;  // 0: none, the row is there to be compared with another
};
constexpr SLimit kNoLimit = {EMeasure::RatioAtMost, 0};
constexpr SLimit kNoSpeedLimit = {EMeasure::SpeedAtLeast, 0};

// The times of a row, one of each side a round. Rounds alternate (A B A B ...), so that a disturbance of the machine
// meets both sides; what is reported are medians.
class CPairedRounds {
 public:
  // `operations` is how many a side does in one round.
  CPairedRounds(benchmark::State& state, double operations, const SLimit& limit)
      : m_state(state), m_operations(operations), m_limit(limit) {}
  ~CPairedRounds() { Report(); }
  CPairedRounds(const CPairedRounds&) = delete;
  CPairedRounds& operator=(const CPairedRounds&) = delete;

  void Add(double ours, double bare);

 private:
  void Report();

  benchmark::State& m_state;
  const double m_operations;
  const SLimit m_limit;
  std::vector<double> m_ours, m_bare, m_values;
};

template <class Body>
double SecondsOf(Body&& body) {
  const auto start = std::chrono::steady_clock::now();
  body();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Runs both sides in turn for as many rounds as the benchmark has iterations, after one that does not count. For
// benchmarks that are registered with UseManualTime.
template <class Ours, class Bare>
void RunPaired(benchmark::State& state, double operations, const SLimit& limit, Ours&& ours, Bare&& bare) {
  bare();
  ours();
  CPairedRounds rounds(state, operations, limit);
  for ([[maybe_unused]] auto _ : state) {
    const double bareTime = SecondsOf(bare);
    const double oursTime = SecondsOf(ours);
    rounds.Add(oursTime, bareTime);
  }
}

}  // namespace qvbench
