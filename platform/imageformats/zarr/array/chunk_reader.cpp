#include "platform/imageformats/zarr/array/chunk_reader.h"

#include <algorithm>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/base/integers.h"
#include "platform/imageformats/zarr/array/unpack.h"

namespace imageformats::zarr {

namespace {

// Beside what the guard counts: kept chunks outlive its planes.
constexpr std::size_t kMostKeptBytes = 32u << 20;
constexpr std::size_t kMostKeptChunks = 256;
constexpr std::size_t kOffsetBytes = 8, kIndexEntryBytes = 16;
constexpr std::uint64_t kNoChunk = 0xFFFFFFFFFFFFFFFFu;
constexpr std::size_t kIndexChecksumBytes = 4;
// What is packed is hardly ever larger than before.
constexpr std::uint64_t kPackedSlack = 1u << 16;

std::vector<std::uint8_t> ReadPiece(const CStoredFile& file, std::uint64_t offset, std::uint64_t size,
                                    CRenderGuard& guard) {
  const bool isInside = offset <= file.Size() && size <= file.Size() - offset;
  Require(isInside, "A chunk of the picture is cut off");
  const CReservation reservation(guard, size);
  std::vector<std::uint8_t> bytes(static_cast<std::size_t>(size));
  file.Read(offset, bytes.data(), bytes.size());
  guard.AddSource(size);
  return bytes;
}

}  // namespace

CChunkReader::CChunkReader(IStore& store, std::string key, SArrayLayout layout)
    : m_store(store), m_key(std::move(key)), m_layout(std::move(layout)) {}

std::string CChunkReader::KeyOf(const CNumbers& numbers) const {
  std::string name = m_layout.keyPrefix;
  for (const std::uint64_t number : numbers) {
    if (!name.empty()) name += m_layout.separator;
    name += std::to_string(number);
  }
  return JoinedKey(m_key, name);
}

const std::vector<std::uint8_t>* CChunkReader::Read(const CNumbers& numbers, CRenderGuard& guard) {
  guard.CheckTime();
  const auto found =
      std::find_if(m_kept.begin(), m_kept.end(), [&](const SKept& kept) { return kept.numbers == numbers; });
  if (found != m_kept.end()) {
    m_kept.splice(m_kept.begin(), m_kept, found);
  } else {
    MakeRoom(CRenderGuard::Multiply(m_layout.ChunkSamples(), m_layout.samples.bytes));
    m_kept.push_front({numbers, Load(numbers, guard)});
    m_keptBytes += SizeOf(m_kept.front());
  }
  return m_kept.front().bytes ? &*m_kept.front().bytes : nullptr;
}

std::size_t CChunkReader::SizeOf(const SKept& kept) noexcept { return kept.bytes ? kept.bytes->size() : 0; }

void CChunkReader::MakeRoom(std::uint64_t size) {
  while (!m_kept.empty() && (m_kept.size() >= kMostKeptChunks ||
                             m_keptBytes + std::min<std::uint64_t>(size, kMostKeptBytes) > kMostKeptBytes)) {
    m_keptBytes -= SizeOf(m_kept.back());
    m_kept.pop_back();
  }
}

std::optional<std::vector<std::uint8_t>> CChunkReader::Load(const CNumbers& numbers, CRenderGuard& guard) {
  const std::uint64_t size = CRenderGuard::Multiply(m_layout.ChunkSamples(), m_layout.samples.bytes);
  CNumbers stored = numbers;
  if (m_layout.sharding) {
    for (std::size_t i = 0; i < stored.size(); ++i) stored[i] /= m_layout.sharding->chunksPerShard[i];
  }
  const std::optional<CStoredFile> file = m_store.Open(KeyOf(stored), m_layout.sharding.has_value(), guard);
  if (!file) return std::nullopt;
  std::pair<std::uint64_t, std::uint64_t> piece{0, file->Size()};
  if (m_layout.sharding) {
    const auto inShard = FindInShard(*file, stored, numbers, guard);
    if (!inShard) return std::nullopt;
    piece = *inShard;
  }
  const std::uint64_t most = m_layout.IsPacked() ? size + size / 8 + kPackedSlack : size;
  Require(piece.second <= most && (m_layout.IsPacked() || piece.second == size),
          "A chunk of the picture has another size than its description says");
  return Unpack(m_layout.packing, ReadPiece(*file, piece.first, piece.second, guard), size, guard);
}

std::optional<std::pair<std::uint64_t, std::uint64_t>> CChunkReader::FindInShard(const CStoredFile& file,
                                                                                 const CNumbers& shard,
                                                                                 const CNumbers& numbers,
                                                                                 CRenderGuard& guard) {
  if (m_indexOf != shard) {
    m_indexOf.clear();
    LoadIndex(file, guard);
    m_indexOf = shard;
  }
  std::uint64_t number = 0;
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    const std::uint64_t perShard = m_layout.sharding->chunksPerShard[i];
    number = number * perShard + numbers[i] % perShard;
  }
  const std::uint8_t* entry = m_index.data() + number * kIndexEntryBytes;
  const bool bigEndian = m_layout.sharding->indexIsBigEndian;
  const std::uint64_t offset = IntegerAt(entry, kOffsetBytes, bigEndian);
  const std::uint64_t size = IntegerAt(entry + kOffsetBytes, kOffsetBytes, bigEndian);
  if (offset == kNoChunk && size == kNoChunk) return std::nullopt;
  return std::pair(offset, size);
}

void CChunkReader::LoadIndex(const CStoredFile& file, CRenderGuard& guard) {
  const SSharding& sharding = *m_layout.sharding;
  std::uint64_t size = kIndexEntryBytes;
  for (const std::uint64_t count : sharding.chunksPerShard) size *= count;
  if (sharding.indexHasChecksum) size += kIndexChecksumBytes;
  Require(size <= file.Size(), "A shard of the picture is cut off");
  m_index = ReadPiece(file, sharding.indexAtStart ? 0 : file.Size() - size, size, guard);
  if (sharding.indexHasChecksum) m_index.resize(WithoutChecksum(m_index).size());
}

}  // namespace imageformats::zarr
