#include "platform/imageformats/base/work_ahead.h"

#include <gtest/gtest.h>

#include <set>
#include <thread>

#include "platform/imageformats/base/format_error.h"
#include "tests/imageformats/support/helped.h"

namespace imageformats {
namespace {

constexpr std::uint64_t kPieces = 500;

class CSquares final : public IPieceWorker {
 public:
  explicit CSquares(std::uint64_t fails) : m_fails(fails) {}
  void Do(std::uint64_t piece) override {
    if (piece == m_fails) throw CDamagedError("no");
    result = piece * piece;
    thread = std::this_thread::get_id();
  }
  std::uint64_t result = 0;
  std::thread::id thread;

 private:
  std::uint64_t m_fails;
};

struct SOutcome {
  std::vector<std::uint64_t> results;
  std::set<std::thread::id> threads;
};

// Takes all pieces in order; what nobody did is done here.
SOutcome TakeAll(CRenderGuard& guard, std::uint64_t fails = kPieces, std::uint64_t workerBytes = 1000) {
  SOutcome outcome;
  CWorkAhead ahead(
      kPieces, workerBytes, [=](CRenderGuard&) { return std::make_unique<CSquares>(fails); }, guard);
  for (std::uint64_t piece = 0; piece < kPieces; ++piece) {
    const auto* worker = static_cast<const CSquares*>(ahead.Take(piece));
    outcome.results.push_back(worker != nullptr ? worker->result : piece * piece);
    outcome.threads.insert(worker != nullptr ? worker->thread : std::this_thread::get_id());
    if (fails == kPieces) std::this_thread::yield();
  }
  return outcome;
}

std::vector<std::uint64_t> Squares() {
  std::vector<std::uint64_t> squares;
  for (std::uint64_t piece = 0; piece < kPieces; ++piece) squares.push_back(piece * piece);
  return squares;
}

TEST(WorkAhead, GivesEveryPieceInItsOrder) {
  for (const std::size_t processors : {1u, 2u, 3u, 8u}) {
    const CHelped helped(processors);
    CRenderGuard guard;
    EXPECT_EQ(TakeAll(guard).results, Squares()) << processors;
  }
}

TEST(WorkAhead, APieceThatAHelperFailsAtIsLeftToTheOwner) {
  const CHelped helped(3);
  for (const std::uint64_t fails : {1u, 2u, 250u, 499u}) {
    CRenderGuard guard;
    EXPECT_EQ(TakeAll(guard, fails).results, Squares()) << fails;
  }
}

TEST(WorkAhead, OneProcessorStartsNoThread) {
  const CHelped helped(1);
  SetAlwaysWorthHelpForTest(true);
  CRenderGuard guard;
  EXPECT_EQ(TakeAll(guard).threads, std::set{std::this_thread::get_id()});
}

TEST(WorkAhead, APieceAloneStartsNoThread) {
  const CHelped helped(4);
  CRenderGuard guard;
  const std::uint64_t before = guard.Available();
  CWorkAhead ahead(
      1, 1000, [](CRenderGuard&) { return std::make_unique<CSquares>(kPieces); }, guard);
  EXPECT_EQ(ahead.Take(0), nullptr);
  EXPECT_FALSE(ahead.Stop());
  EXPECT_EQ(guard.Available(), before);
}

TEST(WorkAhead, WithoutMemoryForWorkersThereAreNone) {
  const CHelped helped(4);
  CRenderGuard guard(SRenderLimits{1500, 1000, std::chrono::hours(1)});
  EXPECT_EQ(TakeAll(guard).threads, std::set{std::this_thread::get_id()});
  EXPECT_EQ(guard.Available(), 1500u);
}

TEST(WorkAhead, GivesTheMemoryBack) {
  const CHelped helped(4);
  CRenderGuard guard;
  const std::uint64_t before = guard.Available();
  TakeAll(guard);
  EXPECT_EQ(guard.Available(), before);
}

TEST(WorkAhead, HelpersShareTheProcessors) {
  const CHelped helped(4);
  EXPECT_EQ(CHelperThreads::Available(), 3u);
  {
    const CHelperThreads two(2, [] {});
    EXPECT_EQ(two.Count(), 2u);
    const CHelperThreads rest(5, [] {});
    EXPECT_EQ(rest.Count(), 1u);
    EXPECT_EQ(CHelperThreads::Available(), 0u);
  }
  EXPECT_EQ(CHelperThreads::Available(), 3u);
}

TEST(WorkAhead, TheTimeOfHelpersCounts) {
  CRenderGuard guard(SRenderLimits{1000, 1000, std::chrono::hours(1)});
  std::thread([&] { guard.AddHelp(std::chrono::minutes(59)); }).join();
  guard.CheckTime();
  std::thread([&] { guard.AddHelp(std::chrono::minutes(2)); }).join();
  EXPECT_THROW(guard.CheckTime(), CDamagedError);
}

// Works until it is stopped.
class CEndless final : public IPieceWorker {
 public:
  explicit CEndless(CRenderGuard& guard) : m_guard(guard) {}
  void Do(std::uint64_t) override {
    for (;;) m_guard.CheckTime();
  }

 private:
  CRenderGuard& m_guard;
};

TEST(WorkAhead, EndsWhileHelpersAreAtWork) {
  const CHelped helped(3);
  CRenderGuard guard;
  CWorkAhead ahead(
      kPieces, 1000, [](CRenderGuard& own) { return std::make_unique<CEndless>(own); }, guard);
  EXPECT_EQ(ahead.Take(0), nullptr);
  EXPECT_TRUE(ahead.Stop());
  EXPECT_EQ(ahead.Take(1), nullptr);
}

}  // namespace
}  // namespace imageformats
