#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tests/support/file_bytes.h"

namespace qvtest {

using SZarrIndex = std::vector<std::uint32_t>;

// An array as a test wants it stored.
struct SZarrArray {
  int version = 2;  // Zarr's: 2 or 3
  SZarrIndex shape, chunk;
  std::string type = "uint8";  // as Zarr 3 calls it
  bool bigEndian = false;
  std::string packing = "none";  // or gzip, zlib, zstd, blosc, lz4, bz2
  bool reversed = false;         // the first axis of a chunk runs fastest
  char separator = '/';
  bool namesSeparator = true;
  bool keysOfVersion2 = false;  // Zarr 3: chunk keys without the "c"
  SZarrIndex shard;             // Zarr 3: chunks lie in shards of that shape
  bool indexAtStart = false;
  bool indexIsBigEndian = false;
  bool checksum = false;  // Zarr 3: of every packed chunk
  std::string fill = "0";
  std::string filters = "null";
  std::function<double(const SZarrIndex&)> value;
  std::function<bool(const SZarrIndex& chunkNumbers)> isMissing;
};

// The files of a hierarchy, by their keys.
class CZarrFiles {
 public:
  void Add(const std::string& key, SFileBytes bytes) { m_files[key] = std::move(bytes); }
  void AddText(const std::string& key, const std::string& text) { Add(key, BytesOf(text)); }
  void AddArray(const std::string& key, const SZarrArray& array);
  // With these attributes, JSON, under "ome" in Zarr 3.
  void AddGroup(const std::string& key, int version, const std::string& attributes);
  // The group of one picture whose levels, arrays "0", "1" and on, are added as well. `axes`: "tczyx"; in micrometres
  // and seconds. `more`: JSON members beside "multiscales".
  void AddPicture(const std::string& key, const std::string& axes, const std::vector<SZarrArray>& levels,
                  const std::string& more = "");

  std::map<std::string, SFileBytes>& Files() { return m_files; }
  const std::map<std::string, SFileBytes>& Files() const { return m_files; }
  void WriteTo(const std::string& folder) const;
  enum class EZip { kStored, kDeflated };
  // With every name below `folder`, which is empty or ends in a slash; `big`: with the fields of Zip64.
  SFileBytes Zip(EZip how, const std::string& folder = "", bool big = false) const;

 private:
  std::map<std::string, SFileBytes> m_files;
};

}  // namespace qvtest
