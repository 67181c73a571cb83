#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "bench/cold/contender.h"

// What a contender needs for a file, start-up taken out. Empty when it does not read the class.
struct SRate {
  double filesPerSecond = 0;
  double peakMiB = 0;
  double startMiB = 0;  // peak of a run on a picture of one pixel
};

struct SComparison {
  std::optional<SRate> ours, vips, oursTwice;
  std::vector<std::optional<SRate>> others;
  double toVips = 0;           // time of ours divided by the peer's: median of the rounds' quotients
  double twoWorkersToOne = 0;  // likewise
  double diskToMemory = 0;     // likewise, of two workers with the database on a disk and in memory
  double processorToVips = 0;  // likewise, of processor time, which says more on a machine that others use too
};

// Folders for what is made.
struct SScratch {
  std::filesystem::path memory, disk;

  const std::filesystem::path& Of(const SContender& contender) const { return contender.onDisk ? disk : memory; }
};

struct SComparer {
  std::vector<SContender> main, others;
  int rounds = 7, otherRounds = 3;
  SScratch scratch;

  // Compares the contenders on the files in `folder`, whose "start" holds a picture of one pixel.
  SComparison Compare(const std::filesystem::path& folder, const std::string& className) const;
};
