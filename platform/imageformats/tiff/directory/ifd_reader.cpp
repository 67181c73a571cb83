#include "platform/imageformats/tiff/directory/ifd_reader.h"

#include <tiff.h>

#include <algorithm>
#include <bit>

namespace imageformats::tiff {
namespace {

// Most directories fit: one read each.
constexpr std::size_t kFirstReadBytes = 512;
// As many entries as there are tags; libtiff has the same limit.
constexpr std::uint64_t kMaxEntries = 65535;

}  // namespace

std::optional<CIfdReader> CIfdReader::Open(const CInput& input) noexcept {
  const auto head = input.Head();
  if (head.size() < 8 || (head[0] != 'I' && head[0] != 'M') || head[0] != head[1]) return std::nullopt;
  CIfdReader reader(input);
  reader.m_swap = (head[0] == 'M') != (std::endian::native == std::endian::big);
  const auto version = reader.Get<std::uint16_t>(head.data() + 2);
  reader.m_bigTiff = version == TIFF_VERSION_BIG;
  if (version != TIFF_VERSION_CLASSIC && (!reader.m_bigTiff || head.size() < 16)) return std::nullopt;
  return reader;
}

std::uint64_t CIfdReader::FirstOffset() const noexcept { return GetWord(m_input->Head().data() + WordSize()); }

bool CIfdReader::Read(std::uint64_t offset) {
  m_entryCount = 0;
  m_next = 0;
  m_bytes.resize(kFirstReadBytes);
  std::size_t got = m_input->ReadAt(offset, m_bytes.data(), m_bytes.size());
  if (got < EntriesOffset()) return false;
  const std::uint64_t count = m_bigTiff ? Get<std::uint64_t>(m_bytes.data()) : Get<std::uint16_t>(m_bytes.data());
  const std::size_t end = EntriesOffset() + std::min(count, kMaxEntries) * EntrySize();
  if (end + WordSize() > kFirstReadBytes) {
    m_bytes.resize(end + WordSize());
    got = m_input->ReadAt(offset, m_bytes.data(), m_bytes.size());
  }
  m_bytesRead += std::min(got, end);
  m_entryCount = got > EntriesOffset() ? (std::min(got, end) - EntriesOffset()) / EntrySize() : 0;
  m_isCut = got < end + WordSize();
  if (!m_isCut) m_next = GetWord(m_bytes.data() + end);
  return count >= 1 && count <= kMaxEntries && got >= end;
}

SIfdEntry CIfdReader::Entry(std::size_t index) const noexcept {
  const std::uint8_t* entry = m_bytes.data() + EntriesOffset() + index * EntrySize();
  return {Get<std::uint16_t>(entry), Get<std::uint16_t>(entry + 2), GetWord(entry + 4), entry + 4 + WordSize()};
}

std::optional<SIfdEntry> CIfdReader::Find(std::uint16_t tag) const noexcept {
  for (std::size_t i = 0; i < m_entryCount; ++i) {
    if (const SIfdEntry entry = Entry(i); entry.tag == tag) return entry;
  }
  return std::nullopt;
}

bool CIfdReader::HoldsBytes(const SIfdEntry& entry) const noexcept {
  if (entry.count <= WordSize()) return true;
  const std::uint64_t offset = GetWord(entry.field), size = m_input->Size();
  return offset <= size && entry.count <= size - offset;
}

std::optional<std::uint64_t> CIfdReader::FirstInteger(const SIfdEntry& entry) const noexcept {
  const std::size_t size = entry.type == TIFF_SHORT   ? 2
                           : entry.type == TIFF_LONG  ? 4
                           : entry.type == TIFF_LONG8 ? 8
                                                      : 0;
  if (size == 0 || entry.count == 0) return std::nullopt;
  std::uint8_t elsewhere[8];
  const std::uint8_t* value = entry.field;
  if (entry.count > WordSize() / size) {
    if (m_input->ReadAt(GetWord(entry.field), elsewhere, size) != size) return std::nullopt;
    value = elsewhere;
  }
  if (size == 2) return Get<std::uint16_t>(value);
  if (size == 4) return Get<std::uint32_t>(value);
  return Get<std::uint64_t>(value);
}

bool CIfdReader::ReadValues(const SIfdEntry& entry, std::uint8_t* values, std::size_t size) const noexcept {
  if (size > WordSize()) return m_input->ReadAt(GetWord(entry.field), values, size) == size;
  std::memcpy(values, entry.field, size);
  return true;
}

}  // namespace imageformats::tiff
