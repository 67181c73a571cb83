#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>
#include <vector>

#include "platform/imageformats/jpeg/block_means/bit_reader.h"
#include "platform/imageformats/jpeg/block_means/huffman_table.h"
#include "tests/support/file_bytes.h"

namespace imageformats {
namespace {

using qvtest::SFileBytes;

unsigned Draw(std::mt19937& random, unsigned below) { return static_cast<unsigned>(random() % below); }

// Random bytes, one in `rarity` of them 0xFF.
SFileBytes RandomBytes(std::size_t count, unsigned rarity, std::mt19937& random) {
  SFileBytes bytes(count);
  for (std::uint8_t& byte : bytes) byte = Draw(random, rarity) == 0 ? 0xFF : static_cast<std::uint8_t>(random());
  return bytes;
}

// As they stand in a stream, 0 behind every 0xFF.
SFileBytes Stuffed(const SFileBytes& bytes) {
  SFileBytes stuffed;
  for (const std::uint8_t byte : bytes) {
    stuffed.push_back(byte);
    if (byte == 0xFF) stuffed.push_back(0);
  }
  return stuffed;
}

// The bits of bytes one after the other, zeros behind them.
class CPlainBits {
 public:
  explicit CPlainBits(const SFileBytes& bytes) : m_bytes(bytes) {}

  std::uint32_t Peek(unsigned count) const {
    std::uint32_t value = 0;
    for (std::size_t i = m_next; i < m_next + count; ++i) value = value << 1 | BitAt(i);
    return value;
  }
  void Skip(unsigned count) { m_next += count; }
  std::size_t Left() const { return m_next > m_bytes.size() * 8 ? 0 : m_bytes.size() * 8 - m_next; }

 private:
  std::uint32_t BitAt(std::size_t i) const { return i / 8 < m_bytes.size() ? m_bytes[i / 8] >> (7 - i % 8) & 1u : 0; }

  const SFileBytes& m_bytes;
  std::size_t m_next = 0;
};

// Around the sizes of the reader's buffer and of its words.
constexpr std::size_t kSizes[] = {0, 1, 2, 7, 8, 9, 63, 16383, 16384, 16385, 16390, 33000};

TEST(JpegBitReader, GivesTheBitsWithoutWhatIsStuffed) {
  std::mt19937 random(1);
  for (const std::size_t size : kSizes) {
    for (const unsigned rarity : {1u, 2u, 5u, 300u}) {
      const SFileBytes bytes = RandomBytes(size, rarity, random), stuffed = Stuffed(bytes);
      const SFileBytes stream = [&] {
        SFileBytes whole = {0xFF, 0xDA};  // never empty, and something that is not to be read
        whole.insert(whole.end(), stuffed.begin(), stuffed.end());
        whole.insert(whole.end(), {0xFF, 0xD9, 0xAB});
        return whole;
      }();
      const auto input = CInput::FromMemory(stream.data(), stream.size());
      CJpegBitReader bits(*input, 2);
      CPlainBits plain(bytes);
      while (plain.Left() != 0) {
        const unsigned count = 1 + Draw(random, 32);
        bits.Refill();
        ASSERT_EQ(bits.Peek(count), plain.Peek(count)) << size << " " << plain.Left();
        ASSERT_FALSE(bits.IsOverrun());
        const auto taken = static_cast<unsigned>(std::min<std::size_t>(count, plain.Left()));
        bits.Skip(taken);
        plain.Skip(taken);
      }
      bits.Refill();
      EXPECT_EQ(bits.Peek(32), 0u);
      EXPECT_FALSE(bits.IsOverrun());
      EXPECT_EQ(bits.Position(), stream.size() - 3);
      bits.Skip(1);
      EXPECT_TRUE(bits.IsOverrun());
    }
  }
}

TEST(JpegBitReader, PassesRestartMarkersWhereverTheyStand) {
  std::mt19937 random(2);
  for (const std::size_t size : kSizes) {
    const SFileBytes bytes = RandomBytes(size, 50, random), stuffed = Stuffed(bytes);
    SFileBytes stream;
    for (int part = 0; part < 3; ++part) {
      stream.insert(stream.end(), stuffed.begin(), stuffed.end());
      stream.insert(stream.end(), {0xFF, static_cast<std::uint8_t>(0xD6 + part)});
    }
    const auto input = CInput::FromMemory(stream.data(), stream.size());
    CJpegBitReader bits(*input, 0);
    for (unsigned part = 0; part < 2; ++part) {
      for (std::size_t i = 0; i < size; ++i) {
        bits.Refill();
        ASSERT_EQ(bits.Peek(8), bytes[i]) << size << " " << part << " " << i;
        ASSERT_TRUE(i + 1 < size || !bits.SkipRestartMarker(6 + part)) << "a byte is left";
        bits.Skip(8);
      }
      ASSERT_TRUE(bits.SkipRestartMarker(6 + part)) << size;
    }
    for (std::size_t i = 0; i < size; ++i) {
      bits.Refill();
      bits.Skip(8);
    }
    EXPECT_FALSE(bits.SkipRestartMarker(0)) << "no restart marker stands there";
  }
}

TEST(JpegBitReader, AnFFAtTheEndOfTheDataIsNoByte) {
  const SFileBytes stream = {0x12, 0xFF};
  const auto input = CInput::FromMemory(stream.data(), stream.size());
  CJpegBitReader bits(*input, 0);
  bits.Refill();
  EXPECT_EQ(bits.Peek(16), 0x1200u);
  bits.Skip(8);
  EXPECT_FALSE(bits.IsOverrun());
  bits.Skip(1);
  EXPECT_TRUE(bits.IsOverrun());
}

struct SCodes {
  std::array<std::uint8_t, 16> counts{};
  std::vector<std::uint8_t> symbols;
};

// A code of which some bits may be left without a meaning, with long and short words.
SCodes RandomCodes(std::mt19937& random, const std::vector<std::uint8_t>& alphabet) {
  SCodes codes;
  unsigned room = 1;  // words of the length that are not the beginning of a shorter one's
  for (std::size_t length = 1; length <= 16; ++length) {
    room *= 2;
    const unsigned most = std::min<unsigned>(room - 1, static_cast<unsigned>(256 - codes.symbols.size()));
    const unsigned count = std::min(most, Draw(random, 3) == 0 ? Draw(random, 20) : Draw(random, 2));
    codes.counts[length - 1] = static_cast<std::uint8_t>(count);
    for (unsigned i = 0; i < count; ++i)
      codes.symbols.push_back(alphabet[Draw(random, static_cast<unsigned>(alphabet.size()))]);
    room -= count;
  }
  return codes;
}

std::vector<std::uint8_t> Alphabet(int kind) {
  if (kind == 0) return {0x00, 0x01, 0x11, 0xF0, 0x21};        // short runs, blocks that end soon
  if (kind == 1) return {0xF0, 0xF1, 0xE1, 0xD0};              // runs past the end of a block
  if (kind == 2) return {0x00, 0x0F, 0x1F, 0x0E, 0x08, 0xFF};  // long values
  std::vector<std::uint8_t> all(256);
  for (std::size_t i = 0; i < all.size(); ++i) all[i] = static_cast<std::uint8_t>(i);
  return all;
}

// Symbol by symbol. Where the coefficients end, 0 for no code.
unsigned SkipOneByOne(const CJpegHuffmanTable& table, CJpegBitReader& bits, unsigned k) {
  while (k < 64) {
    bits.Refill();
    const int symbol = table.Decode(bits);
    if (symbol < 0) return 0;
    bits.Refill();
    const unsigned run = static_cast<unsigned>(symbol) >> 4, size = static_cast<unsigned>(symbol) & 15;
    if (size != 0) bits.Skip(size);
    if (size == 0 && run != 15) return k;
    k += run + 1;
  }
  return k;
}

TEST(JpegHuffmanTable, SteppingOverCoefficientsIsAsReadingThemOneByOne) {
  std::mt19937 random(3);
  int blocks = 0;
  for (int round = 0; round < 400; ++round) {
    const SCodes codes = RandomCodes(random, Alphabet(round % 4));
    CJpegHuffmanTable table;
    ASSERT_TRUE(table.Build(codes.counts, codes.symbols, true));
    const SFileBytes stream = Stuffed(RandomBytes(400, 100, random));
    const auto input = CInput::FromMemory(stream.data(), stream.size());
    CJpegBitReader steps(*input, 0), single(*input, 0);
    for (bool isSound = true; isSound && !single.IsOverrun(); ++blocks) {
      const unsigned k = 1 + Draw(random, 63);
      const unsigned end = SkipOneByOne(table, single, k);
      isSound = end != 0;
      CJpegBitWindow window(steps);
      ASSERT_EQ(table.SkipAcCoefficients(window, k), end) << round;
      if (!isSound) break;
      window.Refill();
      single.Refill();
      ASSERT_EQ(window.Peek(32), single.Peek(32)) << round << " " << k;
    }
    ASSERT_EQ(steps.IsOverrun(), single.IsOverrun());
  }
  EXPECT_GT(blocks, 5000);
}

TEST(JpegHuffmanTable, CoefficientsAreTheirSymbolsAndValues) {
  std::mt19937 random(4);
  for (int round = 0; round < 400; ++round) {
    const SCodes codes = RandomCodes(random, Alphabet(round % 4));
    CJpegHuffmanTable table;
    ASSERT_TRUE(table.Build(codes.counts, codes.symbols, false));
    const SFileBytes stream = Stuffed(RandomBytes(400, 100, random));
    const auto input = CInput::FromMemory(stream.data(), stream.size());
    CJpegBitReader reader(*input, 0), single(*input, 0);
    CJpegBitWindow window(reader);
    while (!single.IsOverrun()) {
      window.Refill();
      const SJpegCoefficient coefficient = table.DecodeCoefficient(window);
      single.Refill();
      const int symbol = table.Decode(single);
      ASSERT_EQ(coefficient.bits == 0, symbol < 0);
      if (symbol < 0) break;
      const unsigned run = static_cast<unsigned>(symbol) >> 4, size = static_cast<unsigned>(symbol) & 15;
      single.Refill();
      ASSERT_EQ(coefficient.value, size == 0 ? 0 : ExtendJpegValue(single.Peek(size), size));
      ASSERT_EQ(coefficient.advance, size == 0 && run != 15 ? 0u : run + 1);
      if (size != 0) single.Skip(size);
    }
  }
}

}  // namespace
}  // namespace imageformats
