#pragma once

#include <thread>
#include <vector>

namespace qvtest {

// Runs work(0), work(1), … work(count - 1), each in a thread of its own, to their end.
template <class Work>
void RunThreads(int count, Work&& work) {
  std::vector<std::thread> threads;
  for (int i = 0; i < count; ++i) threads.emplace_back([&work, i] { work(i); });
  for (std::thread& thread : threads) thread.join();
}

}  // namespace qvtest
