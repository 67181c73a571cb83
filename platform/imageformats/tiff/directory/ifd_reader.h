#pragma once

#include <cstdint>
#include <cstring>
#include <optional>
#include <vector>

#include "platform/imageformats/base/input.h"

namespace imageformats::tiff {

// An entry of a directory as the reader holds it.
struct SIfdEntry {
  std::uint16_t tag = 0, type = 0;
  std::uint64_t count = 0;
  const std::uint8_t* field = nullptr;  // the values, or their offset where they do not fit
};

// Reads a TIFF file's directories one at a time without libtiff: TIFF 6.0, section 2, and BigTIFF, whose counts,
// entries and pointers are wider. One thread.
class CIfdReader {
 public:
  // Nothing when the file has no TIFF header.
  static std::optional<CIfdReader> Open(const CInput& input) noexcept;

  // Of the first directory.
  std::uint64_t FirstOffset() const noexcept;

  // Reads the directory there, or what there is of it. False when it has no entries, more than there are tags, or does
  // not lie in the file in full.
  bool Read(std::uint64_t offset);
  // Entries that were read; valid until the next Read.
  std::size_t EntryCount() const noexcept { return m_entryCount; }
  SIfdEntry Entry(std::size_t index) const noexcept;
  // The first entry of that tag.
  std::optional<SIfdEntry> Find(std::uint16_t tag) const noexcept;
  // Offset of the directory behind; 0 when there is none.
  std::uint64_t NextOffset() const noexcept { return m_next; }
  // The file ends before the directory does.
  bool IsCut() const noexcept { return m_isCut; }
  // Bytes of all directories read so far.
  std::uint64_t BytesRead() const noexcept { return m_bytesRead; }

  // The first value of a SHORT, LONG or LONG8 entry; nothing for other types.
  std::optional<std::uint64_t> FirstInteger(const SIfdEntry& entry) const noexcept;
  // Whether values of one byte each, such as texts, lie in the file in full.
  bool HoldsBytes(const SIfdEntry& entry) const noexcept;
  // The entry's values as they are stored, `size` bytes; false when they are not all there.
  bool ReadValues(const SIfdEntry& entry, std::uint8_t* values, std::size_t size) const noexcept;

 private:
  explicit CIfdReader(const CInput& input) noexcept : m_input(&input) {}

  template <class T>
  T Get(const std::uint8_t* bytes) const noexcept {
    T value;
    std::memcpy(&value, bytes, sizeof value);
    if (!m_swap) return value;
    if constexpr (sizeof(T) == 2) return static_cast<T>(__builtin_bswap16(value));
    if constexpr (sizeof(T) == 4) return static_cast<T>(__builtin_bswap32(value));
    if constexpr (sizeof(T) == 8) return static_cast<T>(__builtin_bswap64(value));
  }
  // A count or an offset.
  std::uint64_t GetWord(const std::uint8_t* bytes) const noexcept {
    return m_bigTiff ? Get<std::uint64_t>(bytes) : Get<std::uint32_t>(bytes);
  }
  std::size_t WordSize() const noexcept { return m_bigTiff ? 8 : 4; }
  std::size_t EntrySize() const noexcept { return 4 + 2 * WordSize(); }
  std::size_t EntriesOffset() const noexcept { return m_bigTiff ? 8 : 2; }

  const CInput* m_input;
  bool m_swap = false, m_bigTiff = false;
  std::uint64_t m_next = 0;
  bool m_isCut = false;
  std::uint64_t m_bytesRead = 0;
  std::size_t m_entryCount = 0;
  std::vector<std::uint8_t> m_bytes;
};

}  // namespace imageformats::tiff
