#pragma once

#include <mutex>

// Mutexes that Clang's thread-safety analysis understands; the standard ones carry no annotations.

#if defined(__clang__)
#define QV_TSA(x) __attribute__((x))
#else
#define QV_TSA(x)
#endif
#define QV_GUARDED_BY(mutex) QV_TSA(guarded_by(mutex))
#define QV_REQUIRES(mutex) QV_TSA(requires_capability(mutex))
#define QV_EXCLUDES(mutex) QV_TSA(locks_excluded(mutex))

template <class Std>
class QV_TSA(capability("mutex")) CAnnotatedMutex {
 public:
  void Lock() QV_TSA(acquire_capability()) { m_mutex.lock(); }
  void Unlock() QV_TSA(release_capability()) { m_mutex.unlock(); }

 private:
  Std m_mutex;
};

using CMutex = CAnnotatedMutex<std::mutex>;
// For guards under which foreign code runs that may come back on the same thread.
using CRecursiveMutex = CAnnotatedMutex<std::recursive_mutex>;

// Holds a mutex for a scope.
template <class Mutex>
class QV_TSA(scoped_lockable) CMutexLock {
 public:
  explicit CMutexLock(Mutex& mutex) QV_TSA(acquire_capability(mutex)) : m_mutex(mutex) { m_mutex.Lock(); }
  ~CMutexLock() QV_TSA(release_capability()) { m_mutex.Unlock(); }
  CMutexLock(const CMutexLock&) = delete;
  CMutexLock& operator=(const CMutexLock&) = delete;

 private:
  Mutex& m_mutex;
};
