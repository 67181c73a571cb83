#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/imageformats/base/input.h"
#include "platform/imageformats/base/render_guard.h"

namespace imageformats::zarr {

// A zip archive (APPNOTE 6.3, with Zip64): its stored and deflated entries by their names. Immutable.
class CZipArchive {
 public:
  struct SEntry {
    std::uint64_t size = 0;  // unpacked
    std::uint64_t packedSize = 0;
    std::uint64_t header = 0;  // where its local header stands
    std::uint32_t checksum = 0;
    std::uint16_t method = 0;
    bool isEncrypted = false;
  };

  // Reads the directory. Throws CDamagedError.
  explicit CZipArchive(std::shared_ptr<const CInput> input);

  const std::unordered_map<std::string, SEntry>& Entries() const noexcept { return m_entries; }
  static bool IsStored(const SEntry& entry) noexcept { return entry.method == 0 && !entry.isEncrypted; }
  // The unpacked bytes, checked against the entry's checksum. Reserves what it needs besides. Throws CFormatError.
  std::vector<std::uint8_t> Unpack(const SEntry& entry, CRenderGuard& guard) const;
  // Where an entry's bytes begin. Throws CDamagedError.
  std::uint64_t DataOf(const SEntry& entry) const;

 private:
  struct SDirectory {
    std::uint64_t offset = 0, size = 0;
  };
  SDirectory FindDirectory() const;
  void ReadBig(std::uint64_t end, SDirectory& directory) const;
  void ReadDirectory(const SDirectory& directory);

  std::shared_ptr<const CInput> m_input;
  std::unordered_map<std::string, SEntry> m_entries;
  std::uint64_t m_dataEnd = 0;  // where the directory begins
};

}  // namespace imageformats::zarr
