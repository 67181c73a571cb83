#include "platform/imageformats/process/decoder_pool.h"

#include <pthread.h>

#include <algorithm>
#include <map>
#include <mutex>
#include <vector>

namespace imageformats {

namespace {

// What two workers and a few callers at once come back to.
constexpr std::size_t kMaxIdle = 4;

// One may be killed by a system that is short of memory; several in a row are not going to run.
constexpr int kMostUnready = 3;

struct SPool {
  std::mutex mutex;
  std::vector<std::unique_ptr<CDecoder>> idle;  // the one that was used last at the end
  std::map<std::string, int> unready;           // of each purpose, since one was ready
};

// Never destroyed: decoders are given back by objects whose end nobody here knows. Their processes end with this one.
SPool& Pool() {
  static SPool& pool = []() -> SPool& {
    static SPool* const made = new SPool;
    pthread_atfork([] { made->mutex.lock(); }, [] { made->mutex.unlock(); },
                   [] {
                     made->idle.clear();
                     made->mutex.unlock();
                   });
    return *made;
  }();
  return pool;
}

void GiveBack(CDecoder* decoder) noexcept {
  std::unique_ptr<CDecoder> returned(decoder), oldest;
  if (!returned->IsRunning()) return;
  returned->TakeBackLarge();
  SPool& pool = Pool();
  const std::lock_guard lock(pool.mutex);
  if (pool.idle.size() >= kMaxIdle) {
    oldest = std::move(pool.idle.front());
    pool.idle.erase(pool.idle.begin());
  }
  pool.idle.push_back(std::move(returned));  // within the capacity that TakeDecoder made
}

}  // namespace

std::shared_ptr<CDecoder> TakeDecoder(const SDecoderUse& use) {
  SPool& pool = Pool();
  std::unique_ptr<CDecoder> decoder;
  {
    const std::lock_guard lock(pool.mutex);
    pool.idle.reserve(kMaxIdle);
    const auto fitting = std::find_if(pool.idle.rbegin(), pool.idle.rend(),
                                      [&](const std::unique_ptr<CDecoder>& idle) { return idle->Use() == use; });
    if (fitting != pool.idle.rend()) {
      decoder = std::move(*fitting);
      pool.idle.erase(std::next(fitting).base());
    }
  }
  if (!decoder) decoder = std::make_unique<CDecoder>(use);
  return {decoder.release(), GiveBack};
}

bool IsGivenUp(const SDecoderUse& use) {
  SPool& pool = Pool();
  const std::lock_guard lock(pool.mutex);
  const auto found = pool.unready.find(use.purpose);
  return found != pool.unready.end() && found->second >= kMostUnready;
}

void NoteReady(const SDecoderUse& use) {
  SPool& pool = Pool();
  const std::lock_guard lock(pool.mutex);
  pool.unready.erase(use.purpose);
}

void NoteUnready(const SDecoderUse& use, bool keptWaiting) {
  SPool& pool = Pool();
  const std::lock_guard lock(pool.mutex);
  pool.unready[use.purpose] += keptWaiting ? kMostUnready : 1;
}

}  // namespace imageformats
