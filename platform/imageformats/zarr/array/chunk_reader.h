#pragma once

#include <cstdint>
#include <list>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/imageformats/zarr/array/array_layout.h"
#include "platform/imageformats/zarr/store/store.h"

namespace imageformats::zarr {

// Reads the chunks of one array. Keeps the last ones, as far as they are small, for planes that share them. One thread.
class CChunkReader {
 public:
  // `key`: the array's folder. The store outlives the reader.
  CChunkReader(IStore& store, std::string key, SArrayLayout layout);

  const SArrayLayout& Layout() const noexcept { return m_layout; }

  // The samples of the chunk with these numbers along the axes, as they are stored; null when it is missing. Valid
  // until the next call. Throws CFormatError.
  const std::vector<std::uint8_t>* Read(const std::vector<std::uint64_t>& numbers, CRenderGuard& guard);

 private:
  using CNumbers = std::vector<std::uint64_t>;
  struct SKept {
    CNumbers numbers;
    std::optional<std::vector<std::uint8_t>> bytes;
  };

  std::string KeyOf(const CNumbers& numbers) const;
  std::optional<std::vector<std::uint8_t>> Load(const CNumbers& numbers, CRenderGuard& guard);
  // The piece of the shard's file that holds the chunk; nothing when it holds none.
  std::optional<std::pair<std::uint64_t, std::uint64_t>> FindInShard(const CStoredFile& file, const CNumbers& shard,
                                                                     const CNumbers& numbers, CRenderGuard& guard);
  void LoadIndex(const CStoredFile& file, CRenderGuard& guard);
  static std::size_t SizeOf(const SKept& kept) noexcept;
  void MakeRoom(std::uint64_t size);

  IStore& m_store;
  std::string m_key;
  SArrayLayout m_layout;
  std::list<SKept> m_kept;  // the one used last in front
  std::size_t m_keptBytes = 0;
  CNumbers m_indexOf;  // the shard whose index is the following
  std::vector<std::uint8_t> m_index;
};

}  // namespace imageformats::zarr
