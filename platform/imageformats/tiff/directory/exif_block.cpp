#include "platform/imageformats/tiff/directory/exif_block.h"

#include <algorithm>
#include <utility>

#include "platform/imageformats/tiff/directory/ifd_reader.h"

namespace imageformats::tiff {
namespace {

constexpr std::size_t kMaxExifEntries = 256;
// Longer values are left out: they are thumbnails and the notes of camera makers.
constexpr std::uint64_t kMaxValueBytes = 4096;

// Copies directories, which may lie anywhere in a file of any size, one behind the other.
class CExifBlockBuilder {
 public:
  CExifBlockBuilder(CIfdReader reader, bool bigEndian) : m_reader(std::move(reader)), m_bigEndian(bigEndian) {}

  // A block whose first directory has these pointers.
  std::vector<std::uint8_t> Build(const std::vector<std::pair<std::uint32_t, std::uint64_t>>& pointers) {
    m_block = {std::uint8_t(m_bigEndian ? 'M' : 'I'), std::uint8_t(m_bigEndian ? 'M' : 'I')};
    Append(42, 2);
    Append(8, 4);
    Append(pointers.size(), 2);
    std::size_t place = m_block.size() + 8;
    for (const auto& [tag, offset] : pointers) {
      Append(tag, 2);
      Append(TIFF_LONG, 2);
      Append(1, 4);
      Append(0, 4);
    }
    Append(0, 4);
    for (const auto& [tag, offset] : pointers) {
      Put(place, m_block.size(), 4);
      CopyDirectory(offset);
      place += 12;
    }
    return std::move(m_block);
  }

 private:
  struct SCopiedEntry {
    std::uint64_t tag = 0, type = 0, count = 0;
    std::vector<std::uint8_t> value;
  };

  void CopyDirectory(std::uint64_t offset) {
    m_reader.Read(offset);
    std::vector<SCopiedEntry> entries;
    for (std::size_t i = 0; i < std::min(m_reader.EntryCount(), kMaxExifEntries); ++i) {
      SCopiedEntry entry;
      if (ReadEntry(m_reader.Entry(i), &entry)) entries.push_back(std::move(entry));
    }
    Append(entries.size(), 2);
    std::size_t values = m_block.size() + entries.size() * 12 + 4;
    for (const SCopiedEntry& entry : entries) {
      Append(entry.tag, 2);
      Append(entry.type, 2);
      Append(entry.count, 4);
      std::vector<std::uint8_t> here = entry.value;
      if (here.size() > 4) {
        Append(values, 4);
        values += here.size();
      } else {
        here.resize(4);
        m_block.insert(m_block.end(), here.begin(), here.end());
      }
    }
    Append(0, 4);
    for (const SCopiedEntry& entry : entries) {
      if (entry.value.size() > 4) m_block.insert(m_block.end(), entry.value.begin(), entry.value.end());
    }
  }

  // False for an entry that EXIF does not know, or that is longer than is of use.
  bool ReadEntry(const SIfdEntry& stored, SCopiedEntry* entry) const {
    entry->tag = stored.tag;
    entry->type = stored.type;
    entry->count = stored.count;
    if (entry->type < TIFF_BYTE || entry->type > TIFF_DOUBLE || entry->count > kMaxValueBytes) return false;
    const std::uint64_t size =
        entry->count * static_cast<std::uint64_t>(TIFFDataWidth(static_cast<TIFFDataType>(entry->type)));
    if (size == 0 || size > kMaxValueBytes) return false;
    entry->value.resize(static_cast<std::size_t>(size));
    return m_reader.ReadValues(stored, entry->value.data(), entry->value.size());
  }

  void Put(std::size_t at, std::uint64_t value, std::size_t bytes) {
    for (std::size_t i = 0; i < bytes; ++i) {
      m_block[at + i] = static_cast<std::uint8_t>(value >> (8 * (m_bigEndian ? bytes - 1 - i : i)));
    }
  }
  void Append(std::uint64_t value, std::size_t bytes) {
    m_block.resize(m_block.size() + bytes);
    Put(m_block.size() - bytes, value, bytes);
  }

  CIfdReader m_reader;
  const bool m_bigEndian;
  std::vector<std::uint8_t> m_block;
};

}  // namespace

std::vector<std::uint8_t> ExifBlockOf(CTiffHandle& tiff) {
  std::vector<std::pair<std::uint32_t, std::uint64_t>> pointers;
  for (const std::uint32_t tag : {std::uint32_t{TIFFTAG_EXIFIFD}, std::uint32_t{TIFFTAG_GPSIFD}}) {
    std::uint64_t offset = 0;
    if (TIFFGetField(tiff.Get(), tag, &offset)) pointers.emplace_back(tag, offset);
  }
  if (pointers.empty()) return {};
  std::optional<CIfdReader> reader = CIfdReader::Open(tiff.Source());
  if (!reader) return {};
  return CExifBlockBuilder(std::move(*reader), tiff.IsBigEndian()).Build(pointers);
}

}  // namespace imageformats::tiff
