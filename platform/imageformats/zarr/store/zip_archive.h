#pragma once

#include <minizip/unzip.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/imageformats/base/input.h"
#include "platform/imageformats/base/render_guard.h"

namespace imageformats::zarr {

// A zip archive, read through minizip: its entries by their names. Zip64, stored and deflated entries. One thread.
class CZipArchive {
 public:
  struct SEntry {
    std::uint64_t size = 0;  // unpacked
    std::uint64_t packedSize = 0;
    bool isStored = false;
    bool isReadable = false;  // neither encrypted nor packed by a method that is not known
    unz64_file_pos position{};
  };

  // Reads the directory. Throws CDamagedError.
  explicit CZipArchive(std::shared_ptr<const CInput> input);
  CZipArchive(const CZipArchive&) = delete;
  CZipArchive& operator=(const CZipArchive&) = delete;
  ~CZipArchive();

  const std::unordered_map<std::string, SEntry>& Entries() const noexcept { return m_entries; }
  // The unpacked bytes, checked against the entry's checksum. Throws CFormatError.
  std::vector<std::uint8_t> Unpack(const SEntry& entry, CRenderGuard& guard);
  // Where a stored entry's bytes begin in the archive. Throws CDamagedError.
  std::uint64_t OffsetOfStored(const SEntry& entry);

 private:
  class CReader;
  void ReadDirectory(CRenderGuard& guard);
  void OpenEntry(const SEntry& entry);

  std::unique_ptr<CReader> m_reader;
  unzFile m_zip = nullptr;
  std::unordered_map<std::string, SEntry> m_entries;
};

}  // namespace imageformats::zarr
