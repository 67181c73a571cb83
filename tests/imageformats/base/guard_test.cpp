#include <gtest/gtest.h>

#include <thread>

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

}  // namespace
}  // namespace imageformats
