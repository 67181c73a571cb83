#pragma once

#include <string>
#include <vector>

struct SProcessRun {
  double seconds = 0;
  double processorSeconds = 0;  // of all its threads, and the kernel's for it
  double peakMiB = 0;
  bool succeeded = false;
};

// Runs a program to its end with its output thrown away. Throws std::system_error when it cannot be started.
SProcessRun RunProcess(const std::vector<std::string>& arguments);

// Whether a program of that name is in one of the folders of PATH, or there when it is a path.
bool IsInstalled(const std::string& program);
