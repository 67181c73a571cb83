#include "platform/imageformats/planes/plane_stack.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/base/new_picture.h"

namespace imageformats {
namespace {

// Planes whose samples a function tells, and how often they were asked for.
class CToldPlanes final : public IPlaneReader {
 public:
  using CSamples = std::function<float(const SPlaneIndex&, std::uint32_t pixel)>;
  explicit CToldPlanes(CSamples samples) : m_samples(std::move(samples)) {}

  SAveragedPicture Average(const SPlaneIndex& plane, SSize reduced, CRenderGuard& guard) override {
    asked.push_back(plane);
    guard.Reserve(1 << 20);
    SAveragedPicture picture{reduced, 1, {}};
    for (std::uint32_t i = 0; i < reduced.width * reduced.height; ++i) picture.samples.push_back(m_samples(plane, i));
    return picture;
  }

  std::vector<SPlaneIndex> asked;

 private:
  CSamples m_samples;
};

// 100 z + 10 t + position, but for one pixel, so that no plane is constant.
float Numbered(const SPlaneIndex& plane, std::uint32_t pixel) {
  return pixel == 15 ? 255.0f : static_cast<float>(100 * plane.z + 10 * plane.t + plane.position);
}

SPlaneStack ThreePlanes() {
  SPlaneStack stack;
  stack.size = {8, 8};
  stack.sizeZ = 3;
  stack.channels.resize(1);
  return stack;
}

std::vector<std::uint8_t> RenderRgb(const SPlaneStack& stack, IPlaneReader& reader, const SViewChoice& view) {
  CQvPicture picture = NewPicture(4, 4, 8, 3);
  CRenderGuard guard;
  RenderPlanes(stack, reader, {4, 4, false, kAllChannels, view}, *picture.Get(), guard);
  const auto* rgb = static_cast<const std::uint8_t*>(picture.Get()->data);
  std::vector<std::uint8_t> pixels;
  for (std::uint32_t y = 0; y < 4; ++y, rgb += picture.Get()->widthBytes) pixels.insert(pixels.end(), rgb, rgb + 12);
  return pixels;
}

// Of the first pixel.
std::uint8_t GreyOf(const SPlaneStack& stack, const SViewChoice& view) {
  CToldPlanes reader(&Numbered);
  return RenderRgb(stack, reader, view)[0];
}

SViewChoice Planes(EPlaneChoice planes, std::uint32_t z = 0) {
  SViewChoice view;
  view.planes = planes;
  view.z = z;
  return view;
}

TEST(RenderPlanes, ShowsTheChosenPlane) {
  EXPECT_EQ(GreyOf(ThreePlanes(), {}), 100);
  EXPECT_EQ(GreyOf(ThreePlanes(), Planes(EPlaneChoice::kFirst)), 0);
  EXPECT_EQ(GreyOf(ThreePlanes(), Planes(EPlaneChoice::kLast)), 200);
  EXPECT_EQ(GreyOf(ThreePlanes(), Planes(EPlaneChoice::kGiven, 1)), 100);
  EXPECT_EQ(GreyOf(ThreePlanes(), Planes(EPlaneChoice::kGiven, 99)), 200);
}

TEST(RenderPlanes, ProjectsTheGreatestOrTheMeanOfThePlanes) {
  EXPECT_EQ(GreyOf(ThreePlanes(), Planes(EPlaneChoice::kMaximum)), 200);
  EXPECT_EQ(GreyOf(ThreePlanes(), Planes(EPlaneChoice::kMean)), 100);
}

TEST(RenderPlanes, ShowsTheChosenTimeAndPosition) {
  SPlaneStack stack = ThreePlanes();
  stack.sizeT = 4;
  stack.positions = 5;
  stack.ownPosition = 2;
  EXPECT_EQ(GreyOf(stack, {}), 102) << "the file's own position";
  SViewChoice view;
  view.t = 3;
  view.position = 0;
  EXPECT_EQ(GreyOf(stack, view), 130);
  view.t = view.position = 1000;
  EXPECT_EQ(GreyOf(stack, view), 134) << "the last";
}

TEST(RenderPlanes, ShowsTheFilesOwnPlaneInsteadOfTheMiddle) {
  SPlaneStack stack = ThreePlanes();
  stack.ownZ = 0;
  EXPECT_EQ(GreyOf(stack, {}), 0);
  EXPECT_EQ(GreyOf(stack, Planes(EPlaneChoice::kGiven, 1)), 100);
}

TEST(RenderPlanes, AProjectionOfALongStackTakesEvenlySpreadPlanesInBoundedMemory) {
  SPlaneStack stack = ThreePlanes();
  stack.sizeZ = 100'000;
  CToldPlanes reader(&Numbered);
  RenderRgb(stack, reader, Planes(EPlaneChoice::kMean));  // each plane reserves a MiB of the 256
  ASSERT_EQ(reader.asked.size(), kMostProjectedPlanes);
  EXPECT_EQ(reader.asked.front().z, 0u);
  EXPECT_EQ(reader.asked.back().z, 99'999u);
}

TEST(RenderPlanes, AValueThatIsNotFiniteDoesNotCountInAProjection) {
  SPlaneStack stack = ThreePlanes();
  stack.sizeZ = 2;
  const auto hole = [](const SPlaneIndex& plane, std::uint32_t pixel) {
    return plane.z == 1 && pixel == 0 ? NAN : Numbered({}, pixel) + 40.0f;
  };
  for (const EPlaneChoice planes : {EPlaneChoice::kMaximum, EPlaneChoice::kMean}) {
    CToldPlanes reader(hole);
    EXPECT_EQ(RenderRgb(stack, reader, Planes(planes))[0], 40);
  }
}

// Only plane `full` is not empty.
CToldPlanes OneFullPlane(std::uint32_t full) {
  return CToldPlanes([full](const SPlaneIndex& plane, std::uint32_t pixel) {
    return plane.z == full && pixel % 2 == 0 ? 200.0f : 0.0f;
  });
}

TEST(RenderPlanes, LooksAroundWhenTheMiddlePlaneIsEmpty) {
  SPlaneStack stack = ThreePlanes();
  stack.sizeZ = 9;
  for (const std::uint32_t full : {3u, 5u, 2u, 8u, 0u}) {
    CToldPlanes reader = OneFullPlane(full);
    EXPECT_EQ(RenderRgb(stack, reader, {})[0], 200) << full;
  }
}

TEST(RenderPlanes, LooksForAFullPlaneALimitedNumberOfTimes) {
  SPlaneStack stack = ThreePlanes();
  stack.sizeZ = 1'000'000;
  CToldPlanes reader = OneFullPlane(1'000'001);
  EXPECT_EQ(RenderRgb(stack, reader, {})[0], 0);
  EXPECT_LE(reader.asked.size(), 41u);
}

TEST(RenderPlanes, AnEmptyPlaneThatWasChosenIsShown) {
  for (const EPlaneChoice planes : {EPlaneChoice::kFirst, EPlaneChoice::kLast, EPlaneChoice::kGiven}) {
    CToldPlanes reader = OneFullPlane(1);
    EXPECT_EQ(RenderRgb(ThreePlanes(), reader, Planes(planes))[0], 0);
    EXPECT_EQ(reader.asked.size(), 1u);
  }
}

TEST(RenderPlanes, ADamagedNeighbourDoesNotHideThePlaneThatWasToBeShown) {
  CToldPlanes reader([](const SPlaneIndex& plane, std::uint32_t) -> float {
    if (plane.z != 1) throw CDamagedError("damaged");
    return 70.0f;
  });
  EXPECT_EQ(RenderRgb(ThreePlanes(), reader, {})[0], 70);
}

// Channel n has the value 16 n + 8 and a pixel of 255.
float ByChannel(const SPlaneIndex& plane, std::uint32_t pixel) {
  return pixel == 15 ? 255.0f : static_cast<float>(16 * plane.channel + 8);
}

std::vector<std::uint32_t> ShownOf(std::size_t channels, const SViewChoice& view,
                                   const std::vector<std::size_t>& off = {}) {
  SPlaneStack stack = ThreePlanes();
  stack.channels.resize(channels);
  for (const std::size_t i : off) stack.channels[i].isOff = true;
  CToldPlanes reader(&ByChannel);
  RenderRgb(stack, reader, view);
  std::vector<std::uint32_t> shown;
  for (const SPlaneIndex& plane : reader.asked) shown.push_back(plane.channel);
  return shown;
}

using CChannels = std::vector<std::uint32_t>;

TEST(RenderPlanes, ShowsTheFirstSixOfManyChannels) {
  EXPECT_EQ(ShownOf(6, {}), (CChannels{0, 1, 2, 3, 4, 5}));
  EXPECT_EQ(ShownOf(16, {}), (CChannels{0, 1, 2, 3, 4, 5}));
}

TEST(RenderPlanes, ChannelsThatAreNamedAreShownWhateverTheirNumber) {
  SViewChoice view;
  view.channels = 0xFFFF;
  EXPECT_EQ(ShownOf(16, view).size(), 16u);
  view.channels = 1 << 3 | 1 << 9;
  EXPECT_EQ(ShownOf(16, view), (CChannels{3, 9}));
}

TEST(RenderPlanes, ChannelsThatTheAuthorSwitchedOffAreShownWhenNamedOnly) {
  EXPECT_EQ(ShownOf(4, {}, {1, 2}), (CChannels{0, 3}));
  EXPECT_EQ(ShownOf(2, {}, {0, 1}), (CChannels{0, 1}));
  SViewChoice view;
  view.channels = 1 << 1;
  EXPECT_EQ(ShownOf(4, view, {1, 2}), (CChannels{1}));
}

TEST(RenderPlanes, StretchedTogetherChannelsKeepTheirIntensities) {
  SPlaneStack stack = ThreePlanes();
  stack.stretch = true;
  stack.channels.resize(2);
  stack.channels[0].color = 0xFF0000;
  stack.channels[1].color = 0x00FF00;
  const auto samples = [](const SPlaneIndex& plane, std::uint32_t pixel) {
    return static_cast<float>((plane.channel == 0 ? 100 : 10) * (pixel % 2));
  };
  CToldPlanes alone(samples), together(samples);
  EXPECT_EQ(RenderRgb(stack, alone, {})[3 + 1], 255);
  SViewChoice view;
  view.stretchTogether = true;
  const std::vector<std::uint8_t> rgb = RenderRgb(stack, together, view);
  EXPECT_EQ(rgb[3 + 0], 255);
  EXPECT_NEAR(rgb[3 + 1], 26, 1);
}

TEST(RenderPlanes, AMaskOfZeroAndOneIsVisible) {
  CToldPlanes reader([](const SPlaneIndex&, std::uint32_t pixel) { return pixel < 8 ? 0.0f : 1.0f; });
  const std::vector<std::uint8_t> rgb = RenderRgb(ThreePlanes(), reader, {});
  EXPECT_EQ(rgb.front(), 0);
  EXPECT_EQ(rgb.back(), 255);
}

TEST(RenderPlanes, ADarkChannelBesideABrightOneStaysDark) {
  SPlaneStack stack = ThreePlanes();
  stack.channels.resize(2);
  CToldPlanes reader([](const SPlaneIndex& plane, std::uint32_t pixel) {
    return static_cast<float>(pixel % 2 * (plane.channel == 0 ? 200 : 3));
  });
  EXPECT_EQ(RenderRgb(stack, reader, {})[3 + 1], 3);
}

}  // namespace
}  // namespace imageformats
