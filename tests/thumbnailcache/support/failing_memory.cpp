#include "tests/thumbnailcache/support/failing_memory.h"

#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <new>

#include "system/qvexport.h"
#include "tests/support/next_function.h"

namespace {

using qvtest::CFailingMemory;

std::atomic<bool> g_limited{false}, g_failed{false}, g_fromThenOn{false}, g_others{false};
std::atomic<long> g_room{0};
std::atomic<int> g_refusedThreads{0};
thread_local bool t_isTester = false;

bool Fails() {
  if (!g_limited || t_isTester == g_others) return false;
  const long before = g_room.fetch_sub(1);
  if (before > 0 || (before < 0 && !g_fromThenOn)) return false;
  g_failed = true;
  return true;
}

void* Allocate(std::size_t size) {
  if (!Fails()) {
    if (void* memory = std::malloc(size ? size : 1)) return memory;
  }
  throw std::bad_alloc();
}

}  // namespace

void* operator new(std::size_t size) { return Allocate(size); }
void* operator new[](std::size_t size) { return Allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }

extern "C" QV_EXPORT int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*start)(void*),
                                        void* argument) {
  static const auto real = qvtest::NextFunction<decltype(&pthread_create)>("pthread_create");
  if (g_refusedThreads > 0 && g_refusedThreads-- > 0) return EAGAIN;
  return real(thread, attributes, start, argument);
}

namespace qvtest {

void CFailingMemory::Limit(EThreads threads, long room, EFault fault) {
  t_isTester = true;
  g_others = threads == EThreads::Others;
  g_fromThenOn = fault == EFault::FromThenOn;
  g_failed = false;
  g_room = room;
  g_limited = true;
}

bool CFailingMemory::Lift() {
  g_limited = false;
  return g_failed;
}

void CFailingMemory::RefuseThreads(int count) { g_refusedThreads = count; }

}  // namespace qvtest
