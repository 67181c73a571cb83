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

// Tells the processor that the thread spins, so that it saves power and leaves the bus to others.
inline void PauseProcessor() noexcept {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_ia32_pause();
#endif
}

// A mutex whose life is bracketed by Init and Destroy, as the database's opening and closing bracket the service's
// work. While it is not initialised, locking and unlocking do nothing. Init and Destroy run while no other thread uses
// it; both may be called again.
class QV_CAPABILITY CMutex {
 public:
  CMutex() noexcept = default;
  CMutex(const CMutex&) = delete;
  CMutex& operator=(const CMutex&) = delete;
  ~CMutex() { Destroy(); }

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
    if (m_initialised && !SpinForLock()) pthread_mutex_lock(&m_mutex);
  }
  void Unlock() noexcept QV_RELEASE() QV_NO_TSA {
    if (m_initialised) pthread_mutex_unlock(&m_mutex);
  }

 private:
  friend class CCondition;

  // The service's locks are held for a fraction of the time that putting a thread to sleep and waking it takes. Each
  // try takes the mutex's cache line away from the holder, so the tries come less and less often: the holder may then
  // take the lock several times while what it guards is in its own cache.
  bool SpinForLock() noexcept QV_NO_TSA {
    constexpr int kFirstBackOff = 8, kLastBackOff = 1024;
    for (int backOff = kFirstBackOff; backOff <= kLastBackOff; backOff *= 2) {
      if (pthread_mutex_trylock(&m_mutex) == 0) return true;
      for (int i = 0; i < backOff; ++i) PauseProcessor();
    }
    return false;
  }

  pthread_mutex_t m_mutex;
  bool m_initialised = false;
};

class QV_SCOPED_CAPABILITY CLockGuard {
 public:
  explicit CLockGuard(CMutex& mutex) noexcept QV_ACQUIRE(mutex) : m_mutex(mutex) { m_mutex.Lock(); }
  CLockGuard(const CLockGuard&) = delete;
  CLockGuard& operator=(const CLockGuard&) = delete;
  ~CLockGuard() QV_RELEASE() { m_mutex.Unlock(); }

 private:
  CMutex& m_mutex;
};

// A condition variable with the same life. Wait needs an initialised mutex.
class CCondition {
 public:
  CCondition() noexcept = default;
  CCondition(const CCondition&) = delete;
  CCondition& operator=(const CCondition&) = delete;
  ~CCondition() { Destroy(); }

  void Init() noexcept {
    Destroy();
    m_initialised = pthread_cond_init(&m_condition, nullptr) == 0;
  }
  void Destroy() noexcept {
    if (m_initialised) pthread_cond_destroy(&m_condition);
    m_initialised = false;
  }

  void Wait(CMutex& mutex) noexcept QV_REQUIRES(mutex) { pthread_cond_wait(&m_condition, &mutex.m_mutex); }
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
