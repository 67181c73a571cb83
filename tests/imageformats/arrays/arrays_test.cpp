#include <gtest/gtest.h>

#include <algorithm>

#include "platform/imageformats/arrays/array_bytes.h"
#include "platform/imageformats/arrays/array_planes.h"
#include "platform/imageformats/arrays/byte_stream.h"
#include "platform/imageformats/base/format_error.h"
#include "tests/imageformats/arrays/array_bytes_writer.h"

namespace imageformats {
namespace {

using namespace qvtest;

constexpr SStoredSamples kBytes{SStoredSamples::EKind::kUnsigned, 1, false};

SFileBytes Pattern(std::size_t size) {
  SFileBytes bytes(size);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(i * 7 + i / 251);
  return bytes;
}

SArraySource SourceOf(const SFileBytes& file, EArrayEncoding encoding, std::uint64_t size) {
  SArraySource source;
  source.input = CInput::FromMemory(file.data(), file.size());
  source.encoding = encoding;
  source.size = size;
  return source;
}

SFileBytes ReadAt(IArrayBytes& bytes, std::uint64_t offset, std::size_t size) {
  SFileBytes out(size);
  bytes.Read(offset, out.data(), size);
  return out;
}

TEST(ArrayBytes, AnyOrderOfReadingGivesTheSame) {
  const SFileBytes pattern = Pattern(700000);
  for (const EArrayEncoding encoding : {EArrayEncoding::kRaw, EArrayEncoding::kGzip, EArrayEncoding::kBzip2}) {
    const SFileBytes file = encoding == EArrayEncoding::kRaw    ? pattern
                            : encoding == EArrayEncoding::kGzip ? Gzipped(pattern)
                                                                : Bzip2ed(pattern);
    CRenderGuard guard;
    const auto bytes = OpenArrayBytes(SourceOf(file, encoding, pattern.size()), kBytes, guard);
    for (const std::size_t offset : {500000u, 10u, 699000u, 0u}) {
      const auto begin = pattern.begin() + static_cast<std::ptrdiff_t>(offset);
      EXPECT_EQ(ReadAt(*bytes, offset, 1000), SFileBytes(begin, begin + 1000)) << offset;
    }
    EXPECT_NO_THROW(bytes->Finish());
  }
}

TEST(ArrayBytes, MemoryIsGivenBackWithTheStream) {
  const SFileBytes file = Gzipped(Pattern(100000));
  CRenderGuard guard;
  const std::uint64_t before = guard.Available();
  OpenGzipStream(CInput::FromMemory(file.data(), file.size()), 0, guard);
  EXPECT_EQ(guard.Available(), before);
}

TEST(ArrayBytes, AWrongCheckValueBehindTheDataIsDamage) {
  const SFileBytes pattern = Pattern(1000);
  SFileBytes file = Gzipped(pattern);
  file[file.size() - 6] ^= 1;
  CRenderGuard guard;
  const auto bytes = OpenArrayBytes(SourceOf(file, EArrayEncoding::kGzip, pattern.size()), kBytes, guard);
  EXPECT_EQ(ReadAt(*bytes, 0, 900), SFileBytes(pattern.begin(), pattern.begin() + 900));
  EXPECT_THROW(bytes->Finish(), CDamagedError);
}

TEST(ArrayBytes, WhatIsCutOffFarBehindIsSeenByTheSizeAtTheEnd) {
  const SFileBytes zeros(50u << 20);
  const SFileBytes whole = Gzipped(zeros);
  for (const bool isCut : {false, true}) {
    const SFileBytes file(whole.begin(), whole.end() - (isCut ? 20000 : 0));
    CRenderGuard guard;
    const auto bytes = OpenArrayBytes(SourceOf(file, EArrayEncoding::kGzip, zeros.size()), kBytes, guard);
    ReadAt(*bytes, 0, 10);
    if (isCut) {
      EXPECT_THROW(bytes->Finish(), CDamagedError);
    } else {
      EXPECT_NO_THROW(bytes->Finish());
    }
  }
}

TEST(ArrayBytes, UnpackingEndsWhenTheTimeIsOver) {
  const SFileBytes gzip = Gzipped(Pattern(1000)), bzip2 = Bzip2ed(Pattern(1000)), hex = BytesOf("00 11");
  SRenderLimits spent;
  spent.time = std::chrono::milliseconds(-1);
  CRenderGuard guard(spent);
  for (const auto& [file, encoding] :
       {std::pair(&gzip, EArrayEncoding::kGzip), std::pair(&bzip2, EArrayEncoding::kBzip2),
        std::pair(&hex, EArrayEncoding::kHex), std::pair(&hex, EArrayEncoding::kText)}) {
    const auto bytes = OpenArrayBytes(SourceOf(*file, encoding, 1), kBytes, guard);
    EXPECT_THROW(ReadAt(*bytes, 0, 1), CDamagedError);
  }
}

// Columns lie far apart, rows close together: as if the axes were exchanged.
TEST(ArrayPlanes, AxesMayLeadInAnyDirection) {
  const SFileBytes file = {1, 2, 3, 4, 5, 6};
  SArrayLayout layout;
  layout.size = {3, 2};
  layout.x = 2;
  layout.y = 1;
  CRenderGuard guard;
  const auto bytes = OpenArrayBytes(SourceOf(file, EArrayEncoding::kRaw, 6), kBytes, guard);
  CArrayPlanes planes(layout, *bytes, guard);
  EXPECT_EQ(planes.Average({}, {3, 2}, guard).samples, (std::vector<float>{1, 3, 5, 2, 4, 6}));
  EXPECT_EQ(planes.Average({}, {1, 1}, guard).samples, std::vector<float>{3.5f});
}

TEST(ArrayPlanes, LongRowsAndManyOfThemAveragesExactly) {
  const std::uint32_t width = 3000, height = 400;  // more than a band
  const SFileBytes file = Pattern(std::size_t{width} * height);
  SArrayLayout layout;
  layout.size = {width, height};
  layout.x = 1;
  layout.y = width;
  CRenderGuard guard;
  const auto bytes = OpenArrayBytes(SourceOf(file, EArrayEncoding::kRaw, file.size()), kBytes, guard);
  CArrayPlanes planes(layout, *bytes, guard);
  double sum = 0.0;
  for (const std::uint8_t value : file) sum += value;
  EXPECT_NEAR(static_cast<double>(planes.Average({}, {1, 1}, guard).samples.front()),
              sum / static_cast<double>(file.size()), 1e-4);
}

TEST(ArrayPlanes, APlaneLeavesNoMemoryReserved) {
  const SFileBytes file = Pattern(10000);
  SArrayLayout layout;
  layout.size = {100, 100};
  layout.x = 1;
  layout.y = 100;
  CRenderGuard guard;
  const auto bytes = OpenArrayBytes(SourceOf(file, EArrayEncoding::kRaw, file.size()), kBytes, guard);
  CArrayPlanes planes(layout, *bytes, guard);
  const std::uint64_t before = guard.Available();
  for (int i = 0; i < 3; ++i) planes.Average({}, {50, 50}, guard);
  EXPECT_EQ(guard.Available(), before);
}

TEST(ArrayPlanes, SamplesAreTakenWhereAveragesWouldMixThem) {
  const SFileBytes file = {1, 1, 9, 9, 9, 9, 1, 1, 1};
  SArrayLayout layout;
  layout.size = {9, 1};
  layout.x = 1;
  layout.y = 9;
  CRenderGuard guard;
  const auto bytes = OpenArrayBytes(SourceOf(file, EArrayEncoding::kRaw, file.size()), kBytes, guard);
  CArrayPlanes planes(layout, *bytes, guard);
  EXPECT_EQ(planes.Sample({}, {3, 1}, guard).samples, (std::vector<float>{1, 9, 1}));
}

TEST(ArrayRows, RowsThatNeedTooMuchMemoryAreRefused) {
  SArrayLayout layout;
  layout.size = {1u << 30, 1};
  layout.x = 1;
  layout.y = 1u << 30;
  const SFileBytes file = {1};
  CRenderGuard guard;
  const auto bytes = OpenArrayBytes(SourceOf(file, EArrayEncoding::kRaw, 1), kBytes, guard);
  EXPECT_THROW(CArrayRows(layout, *bytes, guard), CDamagedError);
}

}  // namespace
}  // namespace imageformats
