#include "metadata/qvpictureplanes.h"

#include <gtest/gtest.h>

#include <bit>

#include "metadata/qvpicturemetadata.h"
#include "system/qvstatus.h"
#include "tests/metadata/random_metadata.h"

namespace {

using namespace qvtest;

void ExpectSame(const SQvPicturePlanes& a, const SQvPicturePlanes& b) {
  ASSERT_EQ(a.planes.size(), b.planes.size());
  for (std::size_t i = 0; i < a.planes.size(); ++i) {
    const SQvPicturePlane &left = a.planes[i], &right = b.planes[i];
    EXPECT_EQ(left.name, right.name);
    EXPECT_EQ(left.color, right.color);
    const auto bits = [](double value) { return std::bit_cast<std::uint64_t>(value); };
    EXPECT_EQ(bits(left.excitationWavelength), bits(right.excitationWavelength));
    EXPECT_EQ(bits(left.emissionWavelength), bits(right.emissionWavelength));
    EXPECT_EQ(left.modality, right.modality);
    EXPECT_EQ(left.components, right.components);
  }
}

TEST(PicturePlanes, RandomPlanesReadBack) {
  CRandomMetadata random(5);
  for (int i = 0; i < 2000; ++i) {
    const SQvPicturePlanes planes = random.Planes();
    SQvPicturePlanes read = random.Planes();
    ASSERT_EQ(Deserialize(Serialize(planes), &read), 0);
    ExpectSame(planes, read);
  }
}

TEST(PicturePlanes, NoPlanesStillSerialise) {
  SQvPicturePlanes read;
  read.planes.resize(3);
  ASSERT_EQ(Deserialize(Serialize(SQvPicturePlanes()), &read), 0);
  EXPECT_TRUE(read.planes.empty());
}

TEST(PicturePlanes, NumberOfPlanesIsLimited) {
  SQvPicturePlanes planes;
  planes.planes.resize(4096);
  SQvPicturePlanes read;
  EXPECT_EQ(Deserialize(Serialize(planes), &read), 0);
  EXPECT_EQ(read.planes.size(), 4096u);
  planes.planes.emplace_back();
  CQvLiteVariantW writer;
  EXPECT_EQ(SQvPicturePlanes::SaveToLiteVariant(writer, &planes), kQvFailure);
  EXPECT_EQ(SQvPicturePlanes::SaveToLiteVariant(writer, nullptr), kQvFailure);
  unsigned int hash = 77;
  EXPECT_EQ(planes.GetHash(hash), 0);
  EXPECT_EQ(hash, 77u);
}

TEST(PicturePlanes, FailedLoadEmptiesThePlanes) {
  SQvPicturePlanes read;
  read.planes.resize(3);
  EXPECT_EQ(Deserialize({}, &read), kQvFailure);
  EXPECT_TRUE(read.planes.empty());
}

TEST(PicturePlanes, HashContinuesAndDependsOnEveryField) {
  CRandomMetadata random(6);
  for (int i = 0; i < 500; ++i) {
    SQvPicturePlanes planes = random.Planes();
    planes.planes.emplace_back();
    unsigned int first = 1, again = 1, other = 2;
    EXPECT_EQ(planes.GetHash(first), 0);
    planes.GetHash(again);
    planes.GetHash(other);
    EXPECT_EQ(first, again);
    EXPECT_NE(first, other);
    planes.planes.back().modality ^= 1u << random.Below(32);
    again = 1;
    planes.GetHash(again);
    EXPECT_NE(first, again);
  }
}

TEST(PictureMetadata, PlaneCount) {
  SQvPictureMetadata metadata;
  EXPECT_EQ(metadata.GetPlaneCount(), 0u);
  metadata.planes.planes.resize(4);
  EXPECT_EQ(metadata.GetPlaneCount(), 4u);
}

}  // namespace
