#pragma once

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace qvhost {

// Threads that do numbered pieces of work some way ahead of whoever goes through the results in their order, which is
// one thread. Declared behind what the work changes, so that it ends first.
class CReadAhead {
 public:
  // Each thread calls `work` once, which is to Claim and Tell until there is no more; it must not throw. There are as
  // many as there are processors, at most `mostThreads`. `ahead`: how many pieces may be done before the first of them
  // is asked for.
  using CWork = std::function<void(CReadAhead& ahead)>;
  CReadAhead(std::size_t pieces, std::size_t ahead, unsigned mostThreads, CWork work);
  CReadAhead(const CReadAhead&) = delete;
  CReadAhead& operator=(const CReadAhead&) = delete;
  // Stops, and waits for the pieces that are being done.
  ~CReadAhead();

  // For the threads: the next piece, once it may be done; false when there is no more. What was done with it before
  // Tell is seen by whoever has awaited it.
  bool Claim(std::size_t* piece);
  void Tell(std::size_t piece);

  // Waits until the piece is done. With numbers that ascend.
  void Await(std::size_t piece);

 private:
  const std::size_t m_ahead;
  const CWork m_work;

  std::mutex m_mutex;
  std::condition_variable m_told, m_wanted;
  // Under the mutex.
  std::vector<char> m_isTold;  // of each piece
  std::size_t m_next = 0, m_awaited = 0;
  bool m_stop = false;

  std::vector<std::thread> m_threads;
};

}  // namespace qvhost
