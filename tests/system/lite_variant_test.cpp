#include "system/qvlitevariant.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <string>

#include "tests/support/file_bytes.h"

#include "system/qvstatus.h"

namespace {

using qvtest::TextOf;

// A tree with every kind of value, two levels deep.
void WriteSample(CQvLiteVariantW& writer) {
  const double kPoints[] = {0.0, -1.5, 1e300};
  EXPECT_EQ(writer.WriteBool(L"flag", true), 0);
  EXPECT_EQ(writer.LevelBegin(L"loop"), 0);
  EXPECT_EQ(writer.WriteInt(L"count", -5), 0);
  EXPECT_EQ(writer.LevelBegin(L"inner"), 0);
  EXPECT_EQ(writer.WriteString(L"name", CQvStringW(L"\x00B5-Slide")), 0);
  EXPECT_EQ(writer.LevelEnd(), 0);
  EXPECT_EQ(writer.WriteUInt(L"mask", ~std::uint64_t{0}), 0);
  EXPECT_EQ(writer.LevelEnd(), 0);
  EXPECT_EQ(writer.WriteDouble(L"step", 0.325), 0);
  EXPECT_EQ(writer.WriteDoubles(L"points", kPoints, 3), 0);
  EXPECT_EQ(writer.WriteBytes(L"raw", "\0\1\2", 3), 0);
}

TEST(LiteVariant, EveryKindComesBack) {
  CQvLiteVariantW writer;
  CQvLiteVariantR reader;
  WriteSample(writer);
  ASSERT_EQ(writer.Finalize(reader, 0), 0);

  bool flag = false;
  std::int64_t count = 0;
  std::uint64_t mask = 0;
  double step = 0;
  CQvStringW name;
  std::vector<double> points;
  CQvByteArray raw;
  std::size_t size = 0;
  EXPECT_EQ(reader.ReadBool(L"flag", &flag), 0);
  EXPECT_EQ(reader.LevelBegin(L"loop", &size), 0);
  EXPECT_EQ(size, 58u);
  EXPECT_EQ(reader.ReadInt(L"count", &count), 0);
  EXPECT_EQ(reader.LevelBegin(L"inner", nullptr), 0);
  EXPECT_EQ(reader.ReadString(L"name", &name), 0);
  EXPECT_EQ(reader.LevelEnd(), 0);
  EXPECT_EQ(reader.ReadUInt(L"mask", &mask), 0);
  EXPECT_EQ(reader.LevelEnd(), 0);
  EXPECT_EQ(reader.ReadDouble(L"step", &step), 0);
  EXPECT_EQ(reader.ReadDoubles(L"points", &points), 0);
  EXPECT_EQ(reader.ReadBytes(L"raw", &raw), 0);
  EXPECT_EQ(reader.LevelEnd(), kQvFailure);

  EXPECT_TRUE(flag);
  EXPECT_EQ(count, -5);
  EXPECT_EQ(mask, ~std::uint64_t{0});
  EXPECT_EQ(step, 0.325);
  EXPECT_EQ(name.Str(), L"\x00B5-Slide");
  EXPECT_EQ(points, (std::vector<double>{0.0, -1.5, 1e300}));
  EXPECT_EQ(TextOf(raw), std::string("\0\1\2", 3));
}

TEST(LiteVariant, TheBytesAreTheDocumentedOnes) {
  CQvLiteVariantW writer;
  CQvLiteVariantR reader;
  writer.LevelBegin(L"L");
  writer.WriteBool(L"b", true);
  writer.WriteInt(L"i", -2);
  writer.LevelEnd();
  writer.WriteUInt(L"u", 0x0102030405060708);
  writer.WriteDouble(L"d", 1.0);
  const double kTwo = 2.0;
  writer.WriteDoubles(L"D", &kTwo, 1);
  writer.WriteString(L"\x00B5", CQvStringW(L"x"));
  writer.WriteBytes(nullptr, "AB", 2);
  ASSERT_EQ(writer.Finalize(reader, 0), 0);
  const std::string expected = std::string("QLV\1", 4) + std::string("\1\1L\x0F\0\0\0", 7) + std::string("\2\1b\1", 4) +
                               std::string("\3\1i\xFE\xFF\xFF\xFF\xFF\xFF\xFF\xFF", 11) +
                               std::string("\4\1u\x08\x07\x06\x05\x04\x03\x02\x01", 11) +
                               std::string("\5\1d\0\0\0\0\0\0\xF0\x3F", 11) +
                               std::string("\6\1D\x08\0\0\0\0\0\0\0\0\0\0\x40", 15) +
                               std::string("\7\2\xC2\xB5\1\0\0\0x", 9) + std::string("\x08\0\2\0\0\0AB", 8);
  EXPECT_EQ(TextOf(reader.Bytes()), expected);
}

TEST(LiteVariant, TheSameWritesGiveTheSameBytes) {
  CQvLiteVariantW writers[2];
  CQvLiteVariantR readers[2];
  for (int i = 0; i < 2; ++i) {
    WriteSample(writers[i]);
    ASSERT_EQ(writers[i].Finalize(readers[i], 0), 0);
  }
  EXPECT_EQ(TextOf(readers[0].Bytes()), TextOf(readers[1].Bytes()));
}

TEST(LiteVariant, ExtremeNumbersKeepTheirBits) {
  const std::uint64_t kBits[] = {0x7FF8000000000001u, 0xFFF4000000000123u, 0x8000000000000000u, 1u,
                                 0x7FF0000000000000u, 0x0010000000000000u};
  CQvLiteVariantW writer;
  CQvLiteVariantR reader;
  std::vector<double> values;
  for (const std::uint64_t bits : kBits) values.push_back(std::bit_cast<double>(bits));
  for (const double value : values) writer.WriteDouble(L"v", value);
  writer.WriteDoubles(L"all", values.data(), values.size());
  writer.WriteInt(L"n", std::numeric_limits<std::int64_t>::min());
  writer.WriteInt(L"n", std::numeric_limits<std::int64_t>::max());
  ASSERT_EQ(writer.Finalize(reader, 0), 0);
  for (const std::uint64_t bits : kBits) {
    double value = 0;
    ASSERT_EQ(reader.ReadDouble(L"v", &value), 0);
    EXPECT_EQ(std::bit_cast<std::uint64_t>(value), bits);
  }
  std::vector<double> all;
  ASSERT_EQ(reader.ReadDoubles(L"all", &all), 0);
  for (std::size_t i = 0; i < all.size(); ++i) EXPECT_EQ(std::bit_cast<std::uint64_t>(all[i]), kBits[i]);
  std::int64_t n = 0;
  EXPECT_EQ(reader.ReadInt(L"n", &n), 0);
  EXPECT_EQ(n, std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(reader.ReadInt(L"n", &n), 0);
  EXPECT_EQ(n, std::numeric_limits<std::int64_t>::max());
}

TEST(LiteVariant, EveryWideStringComesBack) {
  std::wstring all;
  for (std::uint32_t c = 0; c <= 0x10FFFF; c += c < 0x10000 ? 1 : 97) all += static_cast<wchar_t>(c);
  // Surrogates in every neighbourhood, and escaped bytes that would make a valid sequence.
  all += {static_cast<wchar_t>(0xD83D), static_cast<wchar_t>(0xDD2C), static_cast<wchar_t>(0xDCC3),
          static_cast<wchar_t>(0xDCA9), static_cast<wchar_t>(0xDBFF)};
  CQvLiteVariantW writer;
  CQvLiteVariantR reader;
  writer.WriteString(L"all", CQvStringW(all));
  writer.WriteString(L"none", CQvStringW());
  ASSERT_EQ(writer.Finalize(reader, 0), 0);
  CQvStringW value(L"before");
  ASSERT_EQ(reader.ReadString(L"all", &value), 0);
  EXPECT_TRUE(value.Str() == all);
  ASSERT_EQ(reader.ReadString(L"none", &value), 0);
  EXPECT_TRUE(value.IsEmpty());
}

TEST(LiteVariant, EmptyValuesComeBackEmpty) {
  CQvLiteVariantW writer;
  CQvLiteVariantR reader;
  writer.WriteDoubles(L"d", nullptr, 0);
  writer.WriteBytes(L"b", nullptr, 0);
  writer.LevelBegin(L"l");
  writer.LevelEnd();
  ASSERT_EQ(writer.Finalize(reader, 0), 0);
  std::vector<double> doubles{1.0};
  CQvByteArray bytes;
  bytes.Resize(1);
  std::size_t size = 9;
  EXPECT_EQ(reader.ReadDoubles(L"d", &doubles), 0);
  EXPECT_TRUE(doubles.empty());
  EXPECT_EQ(reader.ReadBytes(L"b", &bytes), 0);
  EXPECT_TRUE(bytes.IsEmpty());
  EXPECT_EQ(reader.LevelBegin(L"l", &size), 0);
  EXPECT_EQ(size, 0u);
  EXPECT_EQ(reader.ReadBool(L"x", nullptr), kQvFailure);
  EXPECT_EQ(reader.LevelEnd(), 0);
}

TEST(LiteVariant, ReadingSkipsForwardByNameAndKind) {
  CQvLiteVariantW writer;
  CQvLiteVariantR reader;
  writer.WriteInt(L"a", 1);
  writer.WriteDouble(L"b", 2.0);
  writer.WriteInt(L"b", 3);
  writer.LevelBegin(L"b");
  writer.WriteInt(L"b", 4);
  writer.LevelEnd();
  writer.WriteInt(L"b", 5);
  ASSERT_EQ(writer.Finalize(reader, 0), 0);
  std::int64_t value = 0;
  bool flag = false;
  EXPECT_EQ(reader.ReadBool(L"b", &flag), kQvFailure);
  EXPECT_EQ(reader.ReadInt(L"b", &value), 0);
  EXPECT_EQ(value, 3);
  // What lies before is no longer met, and a miss does not move.
  EXPECT_EQ(reader.ReadInt(L"a", &value), kQvFailure);
  EXPECT_EQ(value, 3);
  EXPECT_EQ(reader.ReadInt(L"b", &value), 0);
  EXPECT_EQ(value, 5);
  EXPECT_EQ(reader.LevelBegin(L"b", nullptr), kQvFailure);
  // Asking for the bytes starts anew.
  (void)reader.Bytes();
  EXPECT_EQ(reader.ReadInt(L"a", &value), 0);
  EXPECT_EQ(reader.LevelBegin(L"b", nullptr), 0);
  EXPECT_EQ(reader.ReadInt(L"b", &value), 0);
  EXPECT_EQ(value, 4);
  EXPECT_EQ(reader.ReadInt(L"b", &value), kQvFailure);
}

TEST(LiteVariant, NamesAreEqualAsAWholeOnly) {
  CQvLiteVariantW writer;
  CQvLiteVariantR reader;
  writer.WriteBool(L"ab", true);
  ASSERT_EQ(writer.Finalize(reader, 0), 0);
  bool flag = false;
  for (const wchar_t* name : {L"a", L"abc", L"", L"AB", L"b"}) EXPECT_EQ(reader.ReadBool(name, &flag), kQvFailure);
  EXPECT_EQ(reader.ReadBool(nullptr, &flag), kQvFailure);
  EXPECT_EQ(reader.ReadBool(L"ab", nullptr), kQvFailure);
  EXPECT_EQ(reader.ReadBool(L"ab", &flag), 0);
}

TEST(LiteVariant, DepthIsLimited) {
  CQvLiteVariantW writer;
  CQvLiteVariantR reader;
  for (std::size_t i = 0; i < kQvLiteVariantMaxDepth; ++i) ASSERT_EQ(writer.LevelBegin(L"l"), 0);
  for (std::size_t i = 0; i < kQvLiteVariantMaxDepth; ++i) ASSERT_EQ(writer.LevelEnd(), 0);
  ASSERT_EQ(writer.Finalize(reader, 0), 0);
  for (std::size_t i = 0; i < kQvLiteVariantMaxDepth; ++i) EXPECT_EQ(reader.LevelBegin(L"l", nullptr), 0);

  for (std::size_t i = 0; i < kQvLiteVariantMaxDepth; ++i) writer.LevelBegin(L"l");
  EXPECT_EQ(writer.LevelBegin(L"l"), kQvFailure);
  for (std::size_t i = 0; i < kQvLiteVariantMaxDepth; ++i) writer.LevelEnd();
  EXPECT_EQ(writer.Finalize(reader, 0), kQvFailure);
  EXPECT_TRUE(reader.Bytes().IsEmpty());
}

TEST(LiteVariant, ARefusedWriteMakesFinalizeFail) {
  const struct {
    const char* what;
    std::int32_t (*write)(CQvLiteVariantW&);
  } kRefused[] = {
      {"end without begin", [](CQvLiteVariantW& w) { return w.LevelEnd(); }},
      {"long name", [](CQvLiteVariantW& w) { return w.WriteBool(std::wstring(256, L'n').c_str(), true); }},
      {"long UTF-8 name", [](CQvLiteVariantW& w) { return w.WriteBool(std::wstring(128, L'\x00E9').c_str(), true); }},
      {"null doubles", [](CQvLiteVariantW& w) { return w.WriteDoubles(L"d", nullptr, 1); }},
      {"null bytes", [](CQvLiteVariantW& w) { return w.WriteBytes(L"b", nullptr, 1); }},
      {"too many doubles",
       [](CQvLiteVariantW& w) { return w.WriteDoubles(L"d", reinterpret_cast<const double*>(&w), ~std::size_t{0}); }},
      {"too many bytes", [](CQvLiteVariantW& w) { return w.WriteBytes(L"b", &w, (std::size_t{1} << 30)); }},
  };
  for (const auto& refused : kRefused) {
    CQvLiteVariantW writer;
    CQvLiteVariantR reader;
    reader.Bytes().Append("old", 3);
    EXPECT_EQ(writer.WriteBool(L"x", true), 0);
    EXPECT_EQ(refused.write(writer), kQvFailure) << refused.what;
    EXPECT_EQ(writer.Finalize(reader, 0), kQvFailure) << refused.what;
    EXPECT_TRUE(reader.Bytes().IsEmpty());
    // The writer is as new.
    EXPECT_EQ(writer.WriteBool(L"x", true), 0);
    EXPECT_EQ(writer.Finalize(reader, 0), 0);
  }
}

TEST(LiteVariant, FinalizeWantsACompleteTreeAndNoFlags) {
  CQvLiteVariantW writer;
  CQvLiteVariantR reader;
  EXPECT_EQ(writer.Finalize(reader, 0), kQvFailure);
  writer.LevelBegin(L"open");
  EXPECT_EQ(writer.Finalize(reader, 0), kQvFailure);
  EXPECT_TRUE(reader.Bytes().IsEmpty());
  writer.WriteBool(L"x", true);
  EXPECT_EQ(writer.Finalize(reader, 1), kQvFailure);
  EXPECT_EQ(writer.Finalize(reader, 0), kQvFailure);
}

TEST(LiteVariant, NamesOf255BytesFit) {
  CQvLiteVariantW writer;
  CQvLiteVariantR reader;
  const std::wstring name = std::wstring(127, L'\x00E9') + L"n";
  EXPECT_EQ(writer.WriteInt(name.c_str(), 7), 0);
  ASSERT_EQ(writer.Finalize(reader, 0), 0);
  std::int64_t value = 0;
  EXPECT_EQ(reader.ReadInt(name.c_str(), &value), 0);
  EXPECT_EQ(value, 7);
}

}  // namespace
