// Damaged and hostile bytes given to the reader.

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "system/qvlitevariant.h"
#include "system/qvstatus.h"
#include "tests/support/file_bytes.h"

namespace {

void SetBytes(CQvLiteVariantR& reader, const std::string& bytes) {
  reader.Bytes().SetData(bytes.data(), bytes.size(), 0, 0);
}

constexpr int kSampleValues = 5;

std::string SampleBytes() {
  CQvLiteVariantW writer;
  CQvLiteVariantR reader;
  const double kPoints[] = {1.0, 2.0};
  writer.WriteBool(L"flag", true);
  writer.LevelBegin(L"level");
  writer.WriteInt(L"int", 1);
  writer.WriteDoubles(L"doubles", kPoints, 2);
  writer.LevelBegin(L"inner");
  writer.WriteString(L"text", CQvStringW(L"\x00E9t\x00E9"));
  writer.LevelEnd();
  writer.LevelEnd();
  writer.WriteBytes(L"bytes", "xyz", 3);
  EXPECT_EQ(writer.Finalize(reader, 0), 0);
  return qvtest::TextOf(reader.Bytes());
}

// Reads all that there may be; returns the number of values found.
int CountReadableValues(CQvLiteVariantR& reader) {
  bool flag;
  std::int64_t number;
  std::vector<double> doubles;
  CQvStringW text;
  CQvByteArray bytes;
  int found = 0;
  found += reader.ReadBool(L"flag", &flag) == 0;
  if (reader.LevelBegin(L"level", nullptr) == 0) {
    found += reader.ReadInt(L"int", &number) == 0;
    found += reader.ReadDoubles(L"doubles", &doubles) == 0;
    if (reader.LevelBegin(L"inner", nullptr) == 0) {
      found += reader.ReadString(L"text", &text) == 0;
      EXPECT_EQ(reader.LevelEnd(), 0);
    }
    EXPECT_EQ(reader.LevelEnd(), 0);
  }
  found += reader.ReadBytes(L"bytes", &bytes) == 0;
  return found;
}

// True when the reader takes nothing at all out of the bytes.
bool IsRejected(const std::string& bytes) {
  CQvLiteVariantR reader;
  SetBytes(reader, bytes);
  return CountReadableValues(reader) == 0;
}

TEST(LiteVariantDamage, TheSampleItselfIsSound) {
  CQvLiteVariantR reader;
  SetBytes(reader, SampleBytes());
  EXPECT_EQ(CountReadableValues(reader), kSampleValues);
}

TEST(LiteVariantDamage, EveryTruncationInsideAnItemGivesNothing) {
  const std::string whole = SampleBytes();
  // Between two outermost items a shorter tree is a tree.
  const std::size_t kFirstItem = 4, kSecondItem = 4 + 2 + 4 + 1;
  const std::size_t lastItem = whole.size() - (2 + 5 + 4 + 3);
  for (std::size_t size = 0; size < whole.size(); ++size) {
    if (size == kFirstItem || size == kSecondItem || size == lastItem) continue;
    EXPECT_TRUE(IsRejected(whole.substr(0, size))) << size;
  }
}

TEST(LiteVariantDamage, TrailingGarbageGivesNothing) {
  const std::string whole = SampleBytes();
  for (const std::string& tail : {std::string("\0", 1), std::string("\2", 1), std::string("\2\1x\2", 4),
                                  std::string("\0\0\0\0\0\0", 6), std::string("\x09\0\0\0\0\0", 6)}) {
    EXPECT_TRUE(IsRejected(whole + tail)) << testing::PrintToString(tail);
  }
}

TEST(LiteVariantDamage, AnotherHeaderOrVersionGivesNothing) {
  for (std::size_t at = 0; at < 4; ++at) {
    std::string bytes = SampleBytes();
    bytes[at] = static_cast<char>(bytes[at] + 1);
    EXPECT_TRUE(IsRejected(bytes));
  }
}

TEST(LiteVariantDamage, WrongLengthsGiveNothing) {
  const std::string header("QLV\1", 4);
  for (const std::string& item :
       {std::string("\1\1x\xFF\xFF\xFF\xFF", 7),         // a level longer than the bytes
        std::string("\1\1x\1\0\0\0\2", 8),               // a level that ends inside an item
        std::string("\6\1x\7\0\0\0\0\0\0\0\0\0\0", 14),  // doubles of seven bytes
        std::string("\6\1x\xF8\xFF\xFF\xFF", 7),         // doubles of 4 GiB
        std::string("\7\1x\xFF\xFF\xFF\x7F"
                    "a",
                    8),  // a text of 2 GiB
        std::string("\2\1x", 3), std::string("\5\1x\0\0\0\0\0\0\0", 10), std::string("\2\xFFx\1", 4)}) {
    CQvLiteVariantR reader;
    SetBytes(reader, header + std::string("\2\1y\1", 4) + item);
    bool flag = false;
    EXPECT_EQ(reader.ReadBool(L"y", &flag), kQvFailure) << testing::PrintToString(item);
    EXPECT_FALSE(flag);
  }
}

TEST(LiteVariantDamage, LevelsTooDeepGiveNothing) {
  std::string bytes;
  for (std::size_t depth = 1; depth <= kQvLiteVariantMaxDepth + 1; ++depth) {
    const std::size_t size = bytes.size();
    bytes = std::string("\1\1l", 3) + static_cast<char>(size & 0xFF) + static_cast<char>(size >> 8) +
            std::string("\0\0", 2) + bytes;
    CQvLiteVariantR reader;
    SetBytes(reader, std::string("QLV\1", 4) + bytes);
    EXPECT_EQ(reader.LevelBegin(L"l", nullptr), depth <= kQvLiteVariantMaxDepth ? 0 : kQvFailure) << depth;
  }
}

TEST(LiteVariantDamage, ATextThatIsNoUtf8LeavesOutputAndPosition) {
  CQvLiteVariantR reader;
  SetBytes(reader, std::string("QLV\1", 4) + std::string("\7\1x\2\0\0\0\xC3(", 9) + std::string("\2\1y\1", 4));
  CQvStringW text(L"before");
  bool flag = false;
  EXPECT_EQ(reader.ReadString(L"x", &text), kQvFailure);
  EXPECT_EQ(text.Str(), L"before");
  EXPECT_EQ(reader.ReadString(L"x", &text), kQvFailure);
  EXPECT_EQ(reader.ReadBool(L"y", &flag), 0);
}

TEST(LiteVariantDamage, BytesChangedBehindTheReadersBackAreNotOverrun) {
  CQvLiteVariantR reader;
  CQvByteArray& bytes = reader.Bytes();
  const std::string whole = SampleBytes();
  bytes.SetData(whole.data(), whole.size(), 0, 0);
  ASSERT_EQ(reader.LevelBegin(L"level", nullptr), 0);
  bytes.Resize(20);
  std::int64_t number = 3;
  EXPECT_EQ(reader.ReadInt(L"int", &number), kQvFailure);
  bytes.Clear();
  EXPECT_EQ(reader.ReadInt(L"int", &number), kQvFailure);
  EXPECT_EQ(reader.LevelEnd(), kQvFailure);
  EXPECT_EQ(number, 3);
  bytes.SetData(whole.data(), whole.size(), 0, 0);
  EXPECT_EQ(CountReadableValues(reader), kSampleValues);
  ASSERT_EQ(reader.LevelBegin(L"level", nullptr), kQvFailure);
}

TEST(LiteVariantDamage, FlippedBytesNeverOverrun) {
  const std::string whole = SampleBytes();
  std::mt19937 random(4);
  for (int i = 0; i < 20000; ++i) {
    std::string bytes = whole;
    for (std::size_t n = random() % 4 + 1; n > 0; --n) {
      bytes[random() % bytes.size()] = static_cast<char>(random());
    }
    CQvLiteVariantR reader;
    SetBytes(reader, bytes);
    ASSERT_LE(CountReadableValues(reader), kSampleValues);
  }
}

}  // namespace
