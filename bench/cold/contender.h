#pragma once

#include <filesystem>
#include <string>
#include <vector>

using CPaths = std::vector<std::filesystem::path>;

// What one run of a program took.
struct SProgramRun {
  double seconds = 0;
  double processorSeconds = 0;  // of all its threads and processes, and the kernel's for them
  double peakMiB = 0;           // of its processes, added up
  bool succeeded = false;
};

// A program that makes thumbnails for a box of 480 x 180 pixels.
struct SContender {
  std::string name;
  std::string program;
  // The command for a batch; everything that it makes goes into `out`.
  std::vector<std::string> (*command)(const std::string& program, const CPaths& files,
                                      const std::filesystem::path& out);
  bool wholeBatch;                 // false: only a batch's first file is given to it, since it takes so long
  bool leavesFiles;                // one per thumbnail
  const char* onlyClass;           // null: reads all
  bool onDisk = false;             // what it makes is to go to a disk that is waited for
  bool usesAllProcessors = false;  // else it and all that it starts share one
};

// With one worker, the peer that the goals are about, with two workers, and the same on a disk, in this order.
std::vector<SContender> MainContenders(const std::string& qvthumbs);
// The others that are installed.
std::vector<SContender> OtherContenders();

// Runs a contender in an empty folder `out`. The run counts as failed unless every thumbnail was made.
SProgramRun RunContender(const SContender& contender, const CPaths& files, const std::filesystem::path& out);
