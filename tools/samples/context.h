#pragma once

#include <algorithm>
#include <cstdint>
#include <string>

#include "tools/samples/output.h"
#include "tools/samples/random.h"

// What every kind of picture is made with.
struct SContext {
  COutput& output;
  std::uint64_t seed;
  int sizePercent = 100;

  // A side of a picture, in pixels.
  int Side(int full) const { return std::max(32, full * sizePercent / 100); }
  // A seed of its own for every file.
  std::uint64_t SeedFor(const std::string& name) const {
    CRandom random(seed, name);
    const std::uint64_t high = random.Next();
    return (high << 32) | random.Next();
  }
};

// A moment of the lab's working days: the same for the same number.
struct SMoment {
  explicit SMoment(int number);

  std::string Iso() const;   // 2024-05-13T09:12:00
  std::string Tiff() const;  // 2024:05:13 09:12:00

  int month, day, hour, minute;
};

// "07" for (7, 2).
std::string ZeroPadded(int number, int width);
