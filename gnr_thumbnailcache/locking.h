#pragma once

#include <pthread.h>

// Annotations for Clang's thread-safety analysis; other compilers ignore them.
#if defined(__clang__)
#define QV_TSA(x) __attribute__((x))
#else
#define QV_TSA(x)
#endif
#define QV_CAPABILITY QV_TSA(capability("mutex"))
#define QV_SCOPED_CAPABILITY QV_TSA(scoped_lockable)
#define QV_GUARDED_BY(x) QV_TSA(guarded_by(x))
#define QV_REQUIRES(...) QV_TSA(requires_capability(__VA_ARGS__))
#define QV_EXCLUDES(...) QV_TSA(locks_excluded(__VA_ARGS__))
#define QV_ACQUIRE(...) QV_TSA(acquire_capability(__VA_ARGS__))
#define QV_RELEASE(...) QV_TSA(release_capability(__VA_ARGS__))
#define QV_ACQUIRED_AFTER(...) QV_TSA(acquired_after(__VA_ARGS__))
#define QV_NO_TSA QV_TSA(no_thread_safety_analysis)

// Tells the processor that the thread spins.
inline void LeaveTheBusAlone() noexcept {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_ia32_pause();
#endif
}

// A mutex whose life is bracketed by Init and Destroy, as the database's opening and closing bracket the service's
// work. While it is not initialised, locking and unlocking do nothing. Init and Destroy run while no other thread uses
// it; both may be called again.
class QV_CAPABILITY CQvMutex {
 public:
  CQvMutex() noexcept = default;
  CQvMutex(const CQvMutex&) = delete;
  CQvMutex& operator=(const CQvMutex&) = delete;
  ~CQvMutex() { Destroy(); }

  void Init() noexcept {
    Destroy();
    m_initialised = pthread_mutex_init(&m_mutex, nullptr) == 0;
  }
  void Destroy() noexcept {
    if (m_initialised) pthread_mutex_destroy(&m_mutex);
    m_initialised = false;
  }
  bool IsInitialised() const noexcept { return m_initialised; }

  void Lock() noexcept QV_ACQUIRE() QV_NO_TSA {
    if (m_initialised && !LockSoon()) pthread_mutex_lock(&m_mutex);
  }
  void Unlock() noexcept QV_RELEASE() QV_NO_TSA {
    if (m_initialised) pthread_mutex_unlock(&m_mutex);
  }

 private:
  friend class CQvCondition;

  // The service's locks are held for a fraction of the time that putting a thread to sleep and waking it takes. Each
  // try takes the mutex's cache line away from the holder, so the tries come less and less often: the holder may then
  // take the lock several times while what it guards is in its own cache.
  bool LockSoon() noexcept QV_NO_TSA {
    constexpr int kFirstPause = 8, kLastPause = 1024;
    for (int pauses = kFirstPause; pauses <= kLastPause; pauses *= 2) {
      if (pthread_mutex_trylock(&m_mutex) == 0) return true;
      for (int i = 0; i < pauses; ++i) LeaveTheBusAlone();
    }
    return false;
  }

  pthread_mutex_t m_mutex;
  bool m_initialised = false;
};

class QV_SCOPED_CAPABILITY CQvLockGuard {
 public:
  explicit CQvLockGuard(CQvMutex& mutex) noexcept QV_ACQUIRE(mutex) : m_mutex(mutex) { m_mutex.Lock(); }
  CQvLockGuard(const CQvLockGuard&) = delete;
  CQvLockGuard& operator=(const CQvLockGuard&) = delete;
  ~CQvLockGuard() QV_RELEASE() { m_mutex.Unlock(); }

 private:
  CQvMutex& m_mutex;
};

// A condition variable with the same life. Wait needs an initialised mutex.
class CQvCondition {
 public:
  CQvCondition() noexcept = default;
  CQvCondition(const CQvCondition&) = delete;
  CQvCondition& operator=(const CQvCondition&) = delete;
  ~CQvCondition() { Destroy(); }

  void Init() noexcept {
    Destroy();
    m_initialised = pthread_cond_init(&m_condition, nullptr) == 0;
  }
  void Destroy() noexcept {
    if (m_initialised) pthread_cond_destroy(&m_condition);
    m_initialised = false;
  }

  void Wait(CQvMutex& mutex) noexcept QV_REQUIRES(mutex) { pthread_cond_wait(&m_condition, &mutex.m_mutex); }
  void Signal() noexcept {
    if (m_initialised) pthread_cond_signal(&m_condition);
  }
  void Broadcast() noexcept {
    if (m_initialised) pthread_cond_broadcast(&m_condition);
  }

 private:
  pthread_cond_t m_condition;
  bool m_initialised = false;
};
