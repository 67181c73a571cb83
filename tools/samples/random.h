#pragma once

#include <cstdint>
#include <string_view>

// The sample maker's only source of chance. The standard library's distributions differ between implementations, so
// that numbers are drawn here: the same seed and name give the same file everywhere. Draw one number a statement, or in
// braces: compilers differ in which argument of a call they compute first.
//
// Generator: PCG-XSH-RR 64/32 (M. E. O'Neill, "PCG: A Family of Simple Fast Space-Efficient Statistically Good
// Algorithms for Random Number Generation", 2014).
class CRandom {
 public:
  // Each thing that is made draws from a stream of its own, so that making more of one kind changes no other.
  CRandom(std::uint64_t seed, std::string_view name);

  std::uint32_t Next();
  // 0 <= value < bound.
  int Below(int bound) { return static_cast<int>((std::uint64_t{Next()} * static_cast<std::uint32_t>(bound)) >> 32); }
  double Unit() { return Next() * (1.0 / 4294967296.0); }
  double Between(double low, double high) { return low + (high - low) * Unit(); }
  bool Chance(double probability) { return Unit() < probability; }
  // Mean 0, deviation 1, close to normal and never beyond 3.5: a sum of eight uniform numbers (Irwin-Hall).
  float Normal();

 private:
  std::uint64_t m_state;
};
