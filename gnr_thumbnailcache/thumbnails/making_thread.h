#pragma once

// Marks the calling thread, while the object lives, as one that makes thumbnails. What such a thread calls (a listener,
// a host's image database) must not open or close the cache's database: closing waits for the workers, and would take
// the database from under a request.
class CMakingThread {
 public:
  CMakingThread() noexcept { ++t_depth; }
  CMakingThread(const CMakingThread&) = delete;
  CMakingThread& operator=(const CMakingThread&) = delete;
  ~CMakingThread() { --t_depth; }

  // Whether the calling thread is one.
  static bool IsHere() noexcept { return t_depth != 0; }

 private:
  constinit inline static thread_local int t_depth = 0;
};
