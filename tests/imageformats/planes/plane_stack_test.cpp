#include "platform/imageformats/planes/plane_stack.h"

#include <gtest/gtest.h>

#include "platform/imageformats/base/new_picture.h"

namespace imageformats {
namespace {

// Planes of one value: 100 z + 10 channel.
class CNumberedPlanes final : public IPlaneReader {
 public:
  SAveragedPicture Average(const SPlaneIndex& plane, SSize reduced, CRenderGuard&) override {
    const auto value = static_cast<float>(100 * plane.z + 10 * plane.channel);
    return {reduced, 1, std::vector<float>(std::size_t{reduced.width} * reduced.height, value)};
  }
};

SPlaneStack ThreePlanes() {
  SPlaneStack stack;
  stack.size = {8, 8};
  stack.sizeZ = 3;
  stack.channels.resize(1);
  return stack;
}

std::uint8_t GreyOf(const SPlaneStack& stack, const SViewChoice& view) {
  CQvPicture picture = NewPicture(4, 4, 8, 3);
  CNumberedPlanes reader;
  CRenderGuard guard;
  SRenderRequest request{4, 4, false, kAllChannels, view};
  RenderPlanes(stack, reader, request, *picture.Get(), guard);
  return *static_cast<const std::uint8_t*>(picture.Get()->data);
}

TEST(RenderPlanes, ShowsTheChosenPlane) {
  SViewChoice view;
  EXPECT_EQ(GreyOf(ThreePlanes(), view), 100);
  view.planes = EPlaneChoice::kFirst;
  EXPECT_EQ(GreyOf(ThreePlanes(), view), 0);
  view.planes = EPlaneChoice::kLast;
  EXPECT_EQ(GreyOf(ThreePlanes(), view), 200);
  view.planes = EPlaneChoice::kGiven;
  view.z = 1;
  EXPECT_EQ(GreyOf(ThreePlanes(), view), 100);
  view.z = 99;
  EXPECT_EQ(GreyOf(ThreePlanes(), view), 200);
}

}  // namespace
}  // namespace imageformats
