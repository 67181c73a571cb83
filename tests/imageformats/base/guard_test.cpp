#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/base/render_guard.h"

namespace imageformats {
namespace {

TEST(RenderGuard, CountsMemory) {
  CRenderGuard guard(SRenderLimits{1000, 1000, std::chrono::hours(1)});
  guard.Reserve(600);
  EXPECT_EQ(guard.Available(), 400u);
  EXPECT_THROW(guard.Reserve(401), CDamagedError);
  guard.Release(100);
  guard.Reserve(500);
  EXPECT_THROW(guard.NewVector<int>(1), CDamagedError);
  EXPECT_THROW(guard.NewVector<std::uint64_t>(0x2000000000000001u), CDamagedError);  // 8 bytes, were it not for care
}

TEST(RenderGuard, RefusesManyPixels) {
  const CRenderGuard guard(SRenderLimits{1000, 1000, std::chrono::hours(1)});
  guard.CheckPixels(100, 10);
  EXPECT_THROW(guard.CheckPixels(101, 10), CDamagedError);
  EXPECT_THROW(guard.CheckPixels(0, 10), CDamagedError);
  EXPECT_THROW(guard.CheckPixels(0xFFFFFFFFFFFFu, 0xFFFFFFFFFFFFu), CDamagedError);
}

TEST(RenderGuard, GivesUpAfterTheDeadline) {
  const CRenderGuard patient(SRenderLimits{1000, 1000, std::chrono::hours(1)});
  patient.CheckTime();
  const CRenderGuard hasty(SRenderLimits{1000, 1000, std::chrono::milliseconds(0)});
  EXPECT_THROW(hasty.CheckTime(), CDamagedError);
}

TEST(RenderGuard, TheTimeGrowsWithTheBytesOfTheFile) {
  EXPECT_EQ(LimitsFor(0).time, kLeastTime);
  EXPECT_EQ(LimitsFor(25'000'000).time, kLeastTime + std::chrono::milliseconds(2500));
  EXPECT_EQ(LimitsFor(4'000'000'000).time, kLeastTime + std::chrono::seconds(400));
  EXPECT_GT(LimitsFor(~std::uint64_t{0}).time, std::chrono::hours(1));
  EXPECT_EQ(LimitsFor(~std::uint64_t{0}).memory, 256u << 20);
}

TEST(RenderGuard, TheTimeGrowsWithWhatThePictureTakesUnpackedUpToALimit) {
  EXPECT_EQ(LimitsFor(0, PictureBytes(20'000, 10'000, 3, 8)).time, kLeastTime + std::chrono::seconds(6));
  EXPECT_EQ(LimitsFor(10'000'000, 100'000'000).time, kLeastTime + std::chrono::seconds(2));
  const auto most = LimitsFor(0, 2'000'000'000).time;
  EXPECT_EQ(LimitsFor(0, ~std::uint64_t{0}).time, most);
  EXPECT_EQ(PictureBytes(0xFFFFFFFFu, 0xFFFFFFFFu, 4, 16), ~std::uint64_t{0});
}

std::string ReasonOf(const std::function<void(CRenderGuard&)>& exceed, const SRenderLimits& limits) {
  CRenderGuard guard(limits);
  try {
    exceed(guard);
  } catch (const CDamagedError& error) {
    return error.what();
  }
  return "";
}

TEST(RenderGuard, TheReasonSaysWhatWasExceeded) {
  EXPECT_EQ(ReasonOf([](CRenderGuard& guard) { guard.Reserve(1u << 30); }, LimitsFor(0)),
            "Reading the picture needs more than 256 MiB");
  SRenderLimits spent = LimitsFor(0);
  spent.time = std::chrono::milliseconds(-7000);
  EXPECT_EQ(ReasonOf([](CRenderGuard& guard) { guard.CheckTime(); }, spent),
            "Reading the picture needs more processor time than its size allows: -7 s");
}

}  // namespace
}  // namespace imageformats
