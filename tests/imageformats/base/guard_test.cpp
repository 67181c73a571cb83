#include <gtest/gtest.h>

#include <thread>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/base/render_guard.h"

namespace imageformats {
namespace {

TEST(RenderGuard, CountsMemory) {
  RenderGuard guard(SRenderLimits{1000, 1000, std::chrono::hours(1)});
  guard.Take(600);
  EXPECT_EQ(guard.Available(), 400u);
  EXPECT_THROW(guard.Take(401), DamagedError);
  guard.Give(100);
  guard.Take(500);
  EXPECT_THROW(guard.NewVector<int>(1), DamagedError);
  EXPECT_THROW(guard.NewVector<std::uint64_t>(0x2000000000000001u), DamagedError);  // 8 bytes, were it not for care
}

TEST(RenderGuard, RefusesManyPixels) {
  const RenderGuard guard(SRenderLimits{1000, 1000, std::chrono::hours(1)});
  guard.CheckPixels(100, 10);
  EXPECT_THROW(guard.CheckPixels(101, 10), DamagedError);
  EXPECT_THROW(guard.CheckPixels(0, 10), DamagedError);
  EXPECT_THROW(guard.CheckPixels(0xFFFFFFFFFFFFu, 0xFFFFFFFFFFFFu), DamagedError);
}

TEST(RenderGuard, GivesUpAfterTheDeadline) {
  const RenderGuard patient(SRenderLimits{1000, 1000, std::chrono::hours(1)});
  patient.CheckTime();
  const RenderGuard hasty(SRenderLimits{1000, 1000, std::chrono::milliseconds(0)});
  EXPECT_THROW(hasty.CheckTime(), DamagedError);
}

}  // namespace
}  // namespace imageformats
