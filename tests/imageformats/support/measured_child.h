#pragma once

#include <cstdint>
#include <functional>
#include <string>

// What a process of its own did.
struct SChildResult {
  int ended = -1;              // 0 when the work returned, else the signal that ended it; 256 for anything else
  std::int64_t kilobytes = 0;  // the most memory that was resident
  std::string answer;          // what the work returned
};

// Whether memory can be limited: a sanitizer's shadow memory is larger than any limit.
extern const bool kMemoryIsMeasurable;

// Runs the work in a process of its own, which may allocate `bytes` beyond what it has at its start and is ended after
// two minutes. Under AddressSanitizer a leak ends it with a failure.
SChildResult RunMeasured(std::uint64_t bytes, const std::function<std::string()>& work);
