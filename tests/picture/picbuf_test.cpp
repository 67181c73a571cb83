#include "picture/qvpicbuf.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

#include "system/qvstatus.h"
#include "tests/picture/test_picbuf.h"

namespace {

bool IsEmpty(const SQvPicBuf& picture) {
  return picture.width == 0 && picture.height == 0 && picture.widthBytes == 0 && picture.bpc == 0 &&
         picture.components == 0 && picture.dataSize == 0 && picture.data == nullptr;
}

TEST(PicBuf, InitMakesAnEmptyPictureOfGarbage) {
  SQvPicBuf picture;
  std::memset(&picture, 0xA5, sizeof picture);
  CQvPicBufAPI::Init(&picture);
  EXPECT_TRUE(IsEmpty(picture));
  EXPECT_FALSE(CQvPicBufAPI::HasPixels(picture));
  CQvPicBufAPI::Free(&picture);
  EXPECT_TRUE(IsEmpty(picture));
}

TEST(PicBuf, NullRecordsAreHarmless) {
  CQvPicBufAPI::Init(nullptr);
  CQvPicBufAPI::Free(nullptr);
  EXPECT_EQ(CQvPicBufAPI::Reinit(nullptr, 1, 1, 0, 8, 1, true), kQvFailure);
}

TEST(PicBuf, RowsOfUpToFourComponentsAreAlignedToFourBytes) {
  const CTestPicBuf rgb(5, 3, 8, 3);
  EXPECT_EQ(rgb->widthBytes, 16u);
  EXPECT_EQ(rgb->dataSize, 48u);
  EXPECT_EQ(CTestPicBuf(3, 1, 16, 1)->widthBytes, 8u);
  EXPECT_EQ(CTestPicBuf(4, 1, 8, 4)->widthBytes, 16u);
  EXPECT_EQ(CTestPicBuf(3, 1, 8, 5)->widthBytes, 15u);
  EXPECT_EQ(CTestPicBuf(3, 1, 16, 7)->widthBytes, 42u);
}

TEST(PicBuf, ExplicitRowLengthIsKept) {
  const CTestPicBuf picture(5, 2, 8, 3, 100);
  EXPECT_EQ(picture->widthBytes, 100u);
  EXPECT_EQ(picture->dataSize, 200u);
  EXPECT_EQ(CTestPicBuf(5, 2, 8, 3, 15)->widthBytes, 15u);
}

TEST(PicBuf, ClearSetsEveryByteToZeroAlsoWhenReusing) {
  CTestPicBuf picture(7, 7, 8, 3);
  std::memset(picture->data, 0xFF, picture->dataSize);
  ASSERT_EQ(CQvPicBufAPI::Reinit(picture.Record(), 7, 7, 0, 8, 3, true), 0);
  const auto* bytes = static_cast<const std::uint8_t*>(picture->data);
  EXPECT_TRUE(std::all_of(bytes, bytes + picture->dataSize, [](std::uint8_t byte) { return byte == 0; }));
}

TEST(PicBuf, ReusesMemoryOfTheSameSize) {
  CTestPicBuf picture(8, 4, 8, 1);
  void* const before = picture->data;
  ASSERT_EQ(CQvPicBufAPI::Reinit(picture.Record(), 4, 8, 0, 8, 1, false), 0);
  EXPECT_EQ(picture->data, before);
  EXPECT_EQ(picture->width, 4u);
  EXPECT_EQ(picture->height, 8u);
}

TEST(PicBuf, ImpossibleShapesLeaveThePictureEmpty) {
  struct SShape {
    std::uint32_t width, height, widthBytes, bpc, components;
  };
  constexpr auto kMax = std::numeric_limits<std::uint32_t>::max();
  const SShape shapes[] = {{0, 1, 0, 8, 1},           {1, 0, 0, 8, 1},          {1, 1, 0, 0, 1},
                           {1, 1, 0, 32, 1},          {1, 1, 0, 12, 1},         {1, 1, 0, 8, 0},
                           {1, 1, 0, 8, 4097},        {2, 1, 1, 8, 1},          {2, 1, 3, 16, 1},
                           {kMax, 1, 0, 8, 1},        {1, kMax, 0, 8, 1},       {kMax, kMax, kMax, 16, 4096},
                           {65536, 65537, 0, 8, 1},   {1 << 30, 1, 0, 16, 2},   {1 << 20, 1 << 20, 0, 16, 4096},
                           {0x7FFFFFFF, 3, 0, 16, 1}, {1, 1 << 20, kMax, 8, 1}, {0, 0, 0, 0, 0}};
  for (const SShape& s : shapes) {
    CTestPicBuf picture(3, 3, 8, 3);
    EXPECT_EQ(CQvPicBufAPI::Reinit(picture.Record(), s.width, s.height, s.widthBytes, s.bpc, s.components, true),
              kQvFailure)
        << s.width << " x " << s.height << ", " << s.bpc << " bits, " << s.components;
    EXPECT_TRUE(IsEmpty(*picture));
  }
}

TEST(PicBuf, ManyComponentsAreAllowed) {
  const CTestPicBuf picture(2, 2, 16, 4096);
  EXPECT_EQ(picture->widthBytes, 2u * 4096 * 2);
  EXPECT_EQ(picture->dataSize, 2u * 4096 * 2 * 2);
}

}  // namespace
