// Facts of many pictures, packed.

#include "host/find/fact_block.h"

#include <gtest/gtest.h>

#include <random>

#include "host/find/fact_store.h"

namespace qvhost {
namespace {

constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();

void ExpectSame(const CFacts& a, const CFacts& b) {
  for (std::size_t fact = 0; fact < kFactCount; ++fact) {
    EXPECT_EQ(a[static_cast<EFact>(fact)], b[static_cast<EFact>(fact)]) << fact;
  }
}

CFacts SomeFacts(std::mt19937_64& random) {
  CFacts facts;
  for (std::size_t fact = 0; fact < kFactCount; ++fact) {
    if (random() % 4 != 0) facts[static_cast<EFact>(fact)] = static_cast<std::int64_t>(random() >> 7 * fact);
  }
  return facts;
}

TEST(FactBlockTest, GivesBackWhatWasPacked) {
  std::mt19937_64 random(1);
  CFactBlock block;
  std::vector<CFacts> all(kPicturesOfBlock);
  for (std::size_t place = 0; place < all.size(); ++place) block.Set(place, all[place] = SomeFacts(random));
  const CFactBlock unpacked(block.Pack());
  for (std::size_t place = 0; place < all.size(); ++place) ExpectSame(unpacked.At(place), all[place]);
}

TEST(FactBlockTest, HoldsTheLeastAndTheMostNextToEachOther) {
  CFactBlock block;
  CFacts least, most;
  least[EFact::Size] = kUnknownFact + 1;
  most[EFact::Size] = kMost;
  block.Set(0, least);
  block.Set(255, most);
  const CFactColumn sizes = UnpackFact(block.Pack(), EFact::Size);
  EXPECT_EQ(sizes[0], kUnknownFact + 1);
  EXPECT_EQ(sizes[1], kUnknownFact);
  EXPECT_EQ(sizes[255], kMost);
}

TEST(FactBlockTest, TakesLittleForFactsThatAreAlikeOrUnknown) {
  CFactBlock block;
  const std::size_t empty = block.Pack().size();
  EXPECT_LT(empty, 100u);
  CFacts facts;
  for (std::size_t place = 0; place < kPicturesOfBlock; ++place) {
    facts[EFact::Size] = 1'000'000'000'000 + static_cast<std::int64_t>(place % 255);
    block.Set(place, facts);
  }
  EXPECT_EQ(block.Pack().size(), empty + kPicturesOfBlock);
}

TEST(FactBlockTest, AnotherBlockOfBytesIsDamage) {
  std::mt19937_64 random(2);
  CFactBlock block;
  block.Set(3, SomeFacts(random));
  const std::string packed = block.Pack();
  for (const std::size_t size : {std::size_t{0}, std::size_t{80}, std::size_t{81}, packed.size() - 1}) {
    EXPECT_THROW(UnpackFact(packed.substr(0, size), EFact::Z), SQLite::Exception) << size;
  }
  EXPECT_THROW(UnpackFact(packed + 'x', EFact::Z), SQLite::Exception);
  for (std::size_t at = 8; at < 81; at += 9) {
    std::string wider = packed;
    wider[at] = '\xFF';
    EXPECT_THROW(CFactBlock{wider}, SQLite::Exception) << at;
  }
}

TEST(FactBlockTest, RealsKeepTheirOrder) {
  const double values[] = {0.0, 1e-300, 0.065, 1.0, 2455000.25, std::nextafter(2455000.25, 3e9), 1e300, INFINITY};
  for (std::size_t i = 1; i < std::size(values); ++i) {
    EXPECT_LT(FactOfReal(values[i - 1]), FactOfReal(values[i]));
    EXPECT_EQ(RealOfFact(FactOfReal(values[i])), values[i]);
  }
}

TEST(FactStoreTest, KeepsPicturesOfSeveralBlocks) {
  SQLite::Database db(":memory:", SQLite::OPEN_READWRITE);
  db.exec("CREATE TABLE fact (block INTEGER PRIMARY KEY, packed BLOB NOT NULL)");
  std::mt19937_64 random(3);
  const std::int64_t pictures[] = {1, 255, 256, 257, 100000, 2};
  std::vector<CFacts> all;
  CFactStore writer(db);
  for (const std::int64_t picture : pictures) writer.Write(picture, all.emplace_back(SomeFacts(random)));
  ExpectSame(writer.Read(2), all.back());
  writer.Flush();
  CFactStore reader(db);
  for (std::size_t i = 0; i < all.size(); ++i) ExpectSame(reader.Read(pictures[i]), all[i]);
  ExpectSame(reader.Read(3), CFacts());
  ExpectSame(reader.Read(77777), CFacts());
}

}  // namespace
}  // namespace qvhost
