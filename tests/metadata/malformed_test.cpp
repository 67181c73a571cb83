#include <gtest/gtest.h>

#include "system/qvstatus.h"
#include "tests/metadata/random_metadata.h"

// Bytes from a damaged or hostile database row: an error or a whole tree, nothing else.

namespace {

using namespace qvtest;

// An experiment with some of everything, small enough to damage at every place.
std::vector<std::uint8_t> MediumExperimentBytes(std::uint32_t seed) {
  CRandomMetadata random(seed);
  while (true) {
    const CExperiment experiment = random.Experiment(4);
    const auto bytes = Serialize(experiment.get());
    if (bytes.size() > 300 && bytes.size() < 450) return bytes;
  }
}

// What was accepted must be a tree that can be stored again and reads back equal.
void CheckExperiment(const std::vector<std::uint8_t>& bytes) {
  CExperiment read = NewExperiment();
  if (Deserialize(bytes, read.get()) != 0) {
    ASSERT_TRUE(SQvExperiment::IsEqual(read.get(), NewExperiment().get(), true, true));
    return;
  }
  const auto again = Serialize(read.get());
  CExperiment second = NewExperiment();
  ASSERT_EQ(Deserialize(again, second.get()), 0);
  ASSERT_TRUE(SQvExperiment::IsEqual(read.get(), second.get(), true, true));
}

void CheckPlanes(const std::vector<std::uint8_t>& bytes) {
  SQvPicturePlanes read;
  if (Deserialize(bytes, &read) != 0) {
    ASSERT_TRUE(read.planes.empty());
    return;
  }
  SQvPicturePlanes second;
  ASSERT_EQ(Deserialize(Serialize(read), &second), 0);
  ASSERT_EQ(Serialize(second), Serialize(read));
}

TEST(Malformed, EveryTruncationOfAnExperimentIsRefused) {
  const auto bytes = MediumExperimentBytes(1);
  for (std::size_t size = 0; size < bytes.size(); ++size) {
    CExperiment read = NewExperiment(kQvLoopZ, 4);
    ASSERT_EQ(Deserialize({bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size)}, read.get()), kQvFailure)
        << size;
    ASSERT_TRUE(SQvExperiment::IsEqual(read.get(), NewExperiment().get(), true, true));
  }
}

TEST(Malformed, EveryCorruptedByteOfAnExperiment) {
  auto bytes = MediumExperimentBytes(2);
  for (std::uint8_t& byte : bytes) {
    const std::uint8_t original = byte;
    for (int value = 0; value < 256; ++value) {
      byte = static_cast<std::uint8_t>(value);
      CheckExperiment(bytes);
      if (HasFatalFailure()) return;
    }
    byte = original;
  }
}

TEST(Malformed, EveryTruncationAndCorruptionOfPlanes) {
  CRandomMetadata random(3);
  SQvPicturePlanes planes = random.Planes();
  planes.planes.push_back({L"last", 1, 2, 3, 4, 5});
  auto bytes = Serialize(planes);
  for (std::size_t size = 0; size < bytes.size(); ++size) {
    CheckPlanes({bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size)});
  }
  for (std::uint8_t& byte : bytes) {
    const std::uint8_t original = byte;
    for (int value = 0; value < 256; ++value) {
      byte = static_cast<std::uint8_t>(value);
      CheckPlanes(bytes);
      if (HasFatalFailure()) return;
    }
    byte = original;
  }
}

// Writes one level whose details `write` adds after the three numbers that every level has.
template <class Function>
std::int32_t LoadLevelWith(Function write) {
  CQvLiteVariantW writer;
  writer.LevelBegin(L"X");
  writer.WriteUInt(L"V", 1);
  writer.WriteUInt(L"T", 2);
  writer.WriteUInt(L"N", 1);
  writer.WriteDouble(L"S", 0);
  write(writer);
  writer.LevelEnd();
  CQvLiteVariantR reader;
  EXPECT_EQ(writer.Finalize(reader, 0), 0);
  CExperiment read = NewExperiment();
  return SQvExperiment::LoadFromLiteVariant(read.get(), reader);
}

TEST(Malformed, PositionsMustComeInThreesAndNamesForAll) {
  const double values[] = {1, 2, 3, 4, 5, 6};
  const auto load = [&](std::size_t count, int names) {
    return LoadLevelWith([&](CQvLiteVariantW& writer) {
      writer.WriteDoubles(L"P", values, count);
      if (names < 0) return;
      writer.LevelBegin(L"n");
      for (int i = 0; i < names; ++i) writer.WriteString(L"", L"name");
      writer.LevelEnd();
    });
  };
  EXPECT_EQ(load(6, -1), 0);
  EXPECT_EQ(load(6, 2), 0);
  EXPECT_EQ(load(6, 1), kQvFailure);
  EXPECT_EQ(load(6, 0), kQvFailure);
  EXPECT_EQ(load(5, -1), kQvFailure);
  EXPECT_EQ(load(0, -1), kQvFailure);
}

TEST(Malformed, ChannelsMustBeWhole) {
  const double numbers[] = {1, 2, 3, 4};
  const auto load = [&](std::uint64_t color, std::size_t count) {
    return LoadLevelWith([&](CQvLiteVariantW& writer) {
      writer.LevelBegin(L"C");
      writer.WriteString(L"n", L"DAPI");
      writer.WriteUInt(L"k", color);
      writer.WriteDoubles(L"w", numbers, count);
      writer.LevelEnd();
    });
  };
  EXPECT_EQ(load(0xFFFFFFFF, 3), 0);
  EXPECT_EQ(load(0x100000000, 3), kQvFailure);
  EXPECT_EQ(load(1, 2), kQvFailure);
  EXPECT_EQ(load(1, 4), kQvFailure);
}

TEST(Malformed, UnknownLayoutVersionsAreRefused) {
  for (const std::uint64_t version : {0u, 2u, 1000u}) {
    CQvLiteVariantW writer;
    writer.LevelBegin(L"X");
    writer.WriteUInt(L"V", version);
    writer.WriteUInt(L"T", 2);
    writer.WriteUInt(L"N", 1);
    writer.WriteDouble(L"S", 0);
    writer.LevelEnd();
    CQvLiteVariantR reader;
    ASSERT_EQ(writer.Finalize(reader, 0), 0);
    CExperiment read = NewExperiment();
    EXPECT_EQ(SQvExperiment::LoadFromLiteVariant(read.get(), reader), kQvFailure);
  }
}

// Fields that a later version adds are passed over.
TEST(Malformed, UnknownFieldsAreSkipped) {
  EXPECT_EQ(LoadLevelWith([](CQvLiteVariantW& writer) {
              writer.WriteString(L"later", L"text");
              writer.LevelBegin(L"more");
              writer.WriteInt(L"x", -1);
              writer.LevelEnd();
            }),
            0);
}

}  // namespace
