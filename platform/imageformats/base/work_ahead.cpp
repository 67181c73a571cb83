#include "platform/imageformats/base/work_ahead.h"

#include <algorithm>
#include <utility>

namespace imageformats {

namespace {

using namespace std::chrono_literals;

// A picture that takes less than kWorthHelp on one thread is done before helpers are of use; nor is what is left of a
// larger one shared when it is less than kWorthStarting, the cost of starting them many times over.
constexpr std::chrono::nanoseconds kWorthHelp = 20ms, kWorthStarting = 2ms;
// The first pieces are timed until they took so long: one alone may have waited for memory or the disk.
constexpr std::chrono::nanoseconds kJudgedBy = 500us;
// So that a helper that another program keeps from its processor does not keep the owner from its work at once.
constexpr std::size_t kSlotsPerThread = 3;
constexpr std::uint64_t kMostMemory = 96u << 20;  // of all workers
constexpr auto kAskForTimeEvery = 20ms;

std::atomic<bool> alwaysWorthHelp = false;

}  // namespace

struct CWorkAhead::SSlot {
  SSlot(const SRenderLimits& limits, const std::atomic<bool>& stop) : guard(limits, &stop) {}

  CRenderGuard guard;  // outlives the worker
  std::unique_ptr<IPieceWorker> worker;
  std::uint64_t piece = 0;
  EState state = EState::kFree;
};

CWorkAhead::CWorkAhead(std::uint64_t pieces, std::uint64_t workerBytes, SMakeWorker make, CRenderGuard& guard)
    : m_pieces(pieces),
      m_workerBytes(std::max<std::uint64_t>(workerBytes, 1)),
      m_make(std::move(make)),
      m_guard(guard),
      m_start(std::chrono::steady_clock::now()),
      m_mayBegin(!guard.IsHelpers()) {}

CWorkAhead::~CWorkAhead() { Stop(); }

bool CWorkAhead::IsWorthHelp(std::uint64_t piece) const {
  if (m_pieces - piece < 2) return false;
  if (alwaysWorthHelp) return true;
  const std::chrono::nanoseconds spent = std::chrono::steady_clock::now() - m_start;
  if (piece == 0 || spent < kJudgedBy) return false;
  const auto left = std::chrono::duration<double, std::nano>(spent) *
                    (static_cast<double>(m_pieces - piece) / static_cast<double>(piece));
  return left >= kWorthStarting && left + m_guard.Elapsed() >= kWorthHelp;
}

IPieceWorker* CWorkAhead::Take(std::uint64_t piece) {
  if (!m_helpers) {
    if (!m_mayBegin || !IsWorthHelp(piece)) return nullptr;
    m_next = piece;
    Begin();
    if (!m_helpers) return nullptr;
  }
  return TakeBegun(piece);
}

void CWorkAhead::Begin() {
  const std::size_t helpers = CHelperThreads::Available();
  const std::uint64_t memory = std::min(kMostMemory, m_guard.Available() / 2);
  const std::size_t slots = static_cast<std::size_t>(
      std::min<std::uint64_t>({kSlotsPerThread * (helpers + 1), memory / m_workerBytes, m_pieces - m_next}));
  if (helpers == 0 || slots < 2) {
    m_mayBegin = helpers == 0 && slots >= 2 && m_mayBegin;
    return;
  }
  m_guard.Reserve(memory);
  m_reserved = memory;
  SRenderLimits limits = m_guard.Limits();
  limits.memory = memory / slots;
  for (std::size_t i = 0; i < slots; ++i) m_slots.push_back(std::make_unique<SSlot>(limits, m_stop));
  m_helpers = std::make_unique<CHelperThreads>(helpers, [this] { Help(); });
  if (m_helpers->Count() == 0) Stop();
}

CWorkAhead::SSlot* CWorkAhead::FindFree() noexcept {
  const auto isFree = [](const auto& slot) { return slot->state == EState::kFree; };
  const auto found = std::find_if(m_slots.begin(), m_slots.end(), isFree);
  return found == m_slots.end() ? nullptr : found->get();
}

CWorkAhead::SSlot* CWorkAhead::Claim() noexcept {
  SSlot* slot = m_next < m_pieces ? FindFree() : nullptr;
  if (slot == nullptr) return nullptr;
  slot->piece = m_next++;
  slot->state = EState::kAtWork;
  return slot;
}

void CWorkAhead::DoClaimed(SSlot& slot, std::unique_lock<std::mutex>& lock) noexcept {
  lock.unlock();
  bool isDone = false;
  try {
    slot.guard.BeginOnThisThread();
    if (!slot.worker) slot.worker = m_make(slot.guard);
    slot.worker->Do(slot.piece);
    isDone = true;
  } catch (...) {
    // The owner finds out what there is to say about it.
  }
  lock.lock();
  slot.state = isDone ? EState::kDone : EState::kFree;
  if (!isDone) m_stop = true;
  m_changed.notify_all();
}

void CWorkAhead::Help() noexcept {
  std::unique_lock lock(m_mutex);
  while (!m_stop && m_next < m_pieces) {
    SSlot* slot = Claim();
    if (slot == nullptr) {
      m_changed.wait(lock);
      continue;
    }
    const std::chrono::nanoseconds before = CRenderGuard::ThreadTime();
    DoClaimed(*slot, lock);
    m_guard.AddHelp(CRenderGuard::ThreadTime() - before);
  }
}

IPieceWorker* CWorkAhead::TakeBegun(std::uint64_t piece) {
  m_guard.CheckTime();
  std::unique_lock lock(m_mutex);
  for (const auto& slot : m_slots) {
    if (slot->state != EState::kTaken) continue;
    slot->state = EState::kFree;
    m_changed.notify_all();
  }
  for (;;) {
    if (m_next <= piece) {
      m_next = piece + 1;
      return nullptr;
    }
    const auto isIt = [&](const auto& slot) { return slot->state != EState::kFree && slot->piece == piece; };
    const auto found = std::find_if(m_slots.begin(), m_slots.end(), isIt);
    if (found == m_slots.end()) return nullptr;
    if ((*found)->state == EState::kDone) {
      (*found)->state = EState::kTaken;
      return (*found)->worker.get();
    }
    SSlot* other = m_stop ? nullptr : Claim();
    if (other != nullptr) {
      DoClaimed(*other, lock);
    } else {
      m_changed.wait_for(lock, kAskForTimeEvery);
    }
    m_guard.CheckTime();
  }
}

bool CWorkAhead::Stop() noexcept {
  m_mayBegin = false;
  if (!m_helpers) return false;
  {
    const std::lock_guard lock(m_mutex);
    m_stop = true;
    m_changed.notify_all();
  }
  const bool hadHelpers = m_helpers->Count() != 0;
  m_helpers.reset();
  m_slots.clear();
  m_guard.Release(m_reserved);
  m_reserved = 0;
  return hadHelpers;
}

void SetAlwaysWorthHelpForTest(bool always) noexcept { alwaysWorthHelp = always; }

}  // namespace imageformats
