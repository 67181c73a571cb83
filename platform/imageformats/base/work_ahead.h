#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "platform/imageformats/base/helper_threads.h"
#include "platform/imageformats/base/render_guard.h"

namespace imageformats {

// Does pieces of a picture's work, one after the other, on whatever thread; what it made stays until the next piece.
// What several of them share must not change.
class IPieceWorker {
 public:
  virtual ~IPieceWorker() = default;
  virtual void Do(std::uint64_t piece) = 0;
};

// Work that consists of numbered pieces, whose results one thread, the owner, takes in their order: while the owner is
// at one, helper threads do the next ones, and so does the owner when it would have to wait. Helpers are called when
// what remains is worth it, judged by the time of the first pieces. What the owner sees is what it would have seen
// alone: pieces that a helper fails at are left to the owner, as are all from there on.
class CWorkAhead {
 public:
  // Makes a worker for the pieces of this work, which keeps to a guard of its own. Called on any thread, by several at
  // the same time.
  using SMakeWorker = std::function<std::unique_ptr<IPieceWorker>(CRenderGuard& guard)>;

  // `workerBytes`: about what a worker reserves.
  CWorkAhead(std::uint64_t pieces, std::uint64_t workerBytes, SMakeWorker make, CRenderGuard& guard);
  CWorkAhead(const CWorkAhead&) = delete;
  CWorkAhead& operator=(const CWorkAhead&) = delete;
  ~CWorkAhead();

  // The worker that did the piece, its result valid until the next call; null: the owner has to do it. For the pieces
  // in order, each once. Throws when the time is over.
  IPieceWorker* Take(std::uint64_t piece);
  // Does without helpers from now on, gives their memory back, and tells whether there were any.
  bool Stop() noexcept;

 private:
  struct SSlot;
  enum class EState { kFree, kAtWork, kDone, kTaken };

  bool IsWorthHelp(std::uint64_t piece) const;
  void Begin();
  void Help() noexcept;
  IPieceWorker* TakeBegun(std::uint64_t piece);
  SSlot* FindFree() noexcept;
  SSlot* Claim() noexcept;
  void DoClaimed(SSlot& slot, std::unique_lock<std::mutex>& lock) noexcept;

  const std::uint64_t m_pieces, m_workerBytes;
  const SMakeWorker m_make;
  CRenderGuard& m_guard;
  const std::chrono::steady_clock::time_point m_start;
  std::uint64_t m_reserved = 0;
  bool m_mayBegin;

  // What owner and helpers share. m_mutex guards the slots' states, not the workers, which belong to whom the state
  // says, m_next, and the conditions.
  std::mutex m_mutex;
  std::condition_variable m_changed;
  std::vector<std::unique_ptr<SSlot>> m_slots;
  std::uint64_t m_next = 0;  // the first piece that nobody has begun
  std::atomic<bool> m_stop = false;
  std::unique_ptr<CHelperThreads> m_helpers;  // last: joined before the rest goes
};

// Calls for helpers as soon as there are two pieces; not while such work is under way.
void SetAlwaysWorthHelpForTest(bool always) noexcept;

}  // namespace imageformats
