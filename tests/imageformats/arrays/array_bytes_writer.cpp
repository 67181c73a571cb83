#include "tests/imageformats/arrays/array_bytes_writer.h"

#include <bzlib.h>
#include <gtest/gtest.h>
#include <zlib.h>

#include <stdexcept>

#include "system/qvstatus.h"
#include "tests/imageformats/support/damage.h"

using namespace qvtest;

SFileBytes Gzipped(const SFileBytes& bytes) {
  SFileBytes out(compressBound(bytes.size()) + 64);
  z_stream stream{};
  if (deflateInit2(&stream, 9, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY) != Z_OK) throw std::runtime_error("zlib");
  stream.next_in = const_cast<Bytef*>(bytes.data());
  stream.avail_in = static_cast<uInt>(bytes.size());
  stream.next_out = out.data();
  stream.avail_out = static_cast<uInt>(out.size());
  const int result = deflate(&stream, Z_FINISH);
  out.resize(out.size() - stream.avail_out);
  deflateEnd(&stream);
  if (result != Z_STREAM_END) throw std::runtime_error("zlib");
  return out;
}

SFileBytes Bzip2ed(const SFileBytes& bytes) {
  SFileBytes out(bytes.size() + bytes.size() / 50 + 1000), in = bytes;
  auto size = static_cast<unsigned>(out.size());
  if (BZ2_bzBuffToBuffCompress(reinterpret_cast<char*>(out.data()), &size, reinterpret_cast<char*>(in.data()),
                               static_cast<unsigned>(in.size()), 9, 0, 0) != BZ_OK) {
    throw std::runtime_error("bzip2");
  }
  out.resize(size);
  return out;
}

void ExpectToSurviveDamage(const SFileBytes& whole) {
  ASSERT_EQ(OutcomeOf(whole), kQvOk);
  for (std::size_t size = 1; size < whole.size(); ++size) {
    const SFileBytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_EQ(OutcomeOf(cut), kQvFailure) << "cut to " << size << " of " << whole.size();
  }
  SFileBytes flipped = whole;
  const std::size_t step = 1 + whole.size() / 1000;
  for (std::size_t i = 0; i < whole.size(); i += step) {
    flipped[i] = static_cast<std::uint8_t>(flipped[i] ^ (1u << (i * 5 % 8)));
    OutcomeOf(flipped);
    flipped[i] = whole[i];
  }
}
