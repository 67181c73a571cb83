#pragma once

#include <atomic>

namespace qvtest {

// How often the program's threads have waited for the disk with a file whose path has "cache.db" in it: a database, its
// log or its journal. For programs that have disk_syncs.cpp among their sources, which takes the place of the C
// library's functions in SQLite too.
struct SDiskSyncs {
  static inline std::atomic<int> count{0};
  // Whether they all fail, with EIO.
  static inline std::atomic<bool> fail{false};

  template <class Work>
  static int Of(Work&& work) {
    const int before = count;
    work();
    return count - before;
  }
};

}  // namespace qvtest
