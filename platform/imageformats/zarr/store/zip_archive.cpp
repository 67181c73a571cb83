#include "platform/imageformats/zarr/store/zip_archive.h"

#include <algorithm>
#include <new>
#include <utility>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/base/inflater.h"
#include "platform/imageformats/base/integers.h"

namespace imageformats::zarr {

namespace {

constexpr char kDamagedArchive[] = "The archive is damaged or cut off";
constexpr char kDamagedEntry[] = "A file of the archive is damaged";

constexpr std::size_t kMostEntries = 1'000'000;
constexpr std::size_t kEndBytes = 22, kMostComment = 65535;
constexpr std::size_t kBigLocatorBytes = 20, kBigEndBytes = 56;
constexpr std::size_t kHeaderBytes = 46, kLocalHeaderBytes = 30;
constexpr std::uint64_t kInBigFields = 0xFFFFFFFFu;
constexpr std::uint16_t kDeflated = 8;

std::uint64_t FieldAt(const std::uint8_t* bytes, std::size_t size) noexcept { return IntegerAt(bytes, size, false); }

std::vector<std::uint8_t> BytesAt(const CInput& input, std::uint64_t offset, std::uint64_t size) {
  std::vector<std::uint8_t> bytes(static_cast<std::size_t>(size));
  Require(input.ReadAt(offset, bytes.data(), bytes.size()) == bytes.size(), kDamagedArchive);
  return bytes;
}

// The sizes and the place that do not fit the fields of the directory stand here, in that order, those that are needed.
void ReadBigFields(const std::uint8_t* extra, std::size_t size, CZipArchive::SEntry& entry) {
  constexpr std::uint64_t kBigFields = 1;
  for (std::size_t at = 0; at + 4 <= size;) {
    const std::size_t length = static_cast<std::size_t>(FieldAt(extra + at + 2, 2));
    std::size_t field = at + 4;
    Require(length <= size - field, kDamagedArchive);
    const std::size_t next = field + length;
    for (std::uint64_t* value : {&entry.size, &entry.packedSize, &entry.header}) {
      if (FieldAt(extra + at, 2) != kBigFields || *value != kInBigFields) continue;
      Require(field + 8 <= next, kDamagedArchive);
      *value = FieldAt(extra + field, 8);
      field += 8;
    }
    at = next;
  }
}

std::vector<std::uint8_t> InflateEntry(const std::vector<std::uint8_t>& packed, std::uint64_t size) {
  const CInflaterPtr deflate = NewInflater();
  std::vector<std::uint8_t> bytes(static_cast<std::size_t>(size));
  const libdeflate_result result =
      libdeflate_deflate_decompress(deflate.get(), packed.data(), packed.size(), bytes.data(), bytes.size(), nullptr);
  Require(result == LIBDEFLATE_SUCCESS, kDamagedEntry);
  return bytes;
}

}  // namespace

CZipArchive::CZipArchive(std::shared_ptr<const CInput> input) : m_input(std::move(input)) {
  const SDirectory directory = FindDirectory();
  m_dataEnd = directory.offset;
  ReadDirectory(directory);
}

// The end's record is the last one, behind it only a comment that it knows of.
CZipArchive::SDirectory CZipArchive::FindDirectory() const {
  const std::uint64_t size = m_input->Size();
  Require(size >= kEndBytes, kDamagedArchive);
  const std::uint64_t tailSize = std::min<std::uint64_t>(size, kEndBytes + kMostComment);
  const std::vector<std::uint8_t> tail = BytesAt(*m_input, size - tailSize, tailSize);
  for (std::size_t at = tail.size() - kEndBytes + 1; at-- > 0;) {
    const std::uint8_t* end = tail.data() + at;
    if (FieldAt(end, 4) != 0x06054B50 || at + kEndBytes + FieldAt(end + 20, 2) != tail.size()) continue;
    SDirectory directory{FieldAt(end + 16, 4), FieldAt(end + 12, 4)};
    const std::uint64_t position = size - tailSize + at;
    if (FieldAt(end + 10, 2) == 0xFFFF || directory.offset == kInBigFields || directory.size == kInBigFields) {
      ReadBig(position, directory);
    }
    Require(directory.size <= position && directory.offset <= position - directory.size, kDamagedArchive);
    return directory;
  }
  throw CDamagedError(kDamagedArchive);
}

void CZipArchive::ReadBig(std::uint64_t end, SDirectory& directory) const {
  Require(end >= kBigLocatorBytes, kDamagedArchive);
  const std::vector<std::uint8_t> locator = BytesAt(*m_input, end - kBigLocatorBytes, kBigLocatorBytes);
  Require(FieldAt(locator.data(), 4) == 0x07064B50, kDamagedArchive);
  const std::vector<std::uint8_t> record = BytesAt(*m_input, FieldAt(locator.data() + 8, 8), kBigEndBytes);
  Require(FieldAt(record.data(), 4) == 0x06064B50, kDamagedArchive);
  directory = {FieldAt(record.data() + 48, 8), FieldAt(record.data() + 40, 8)};
}

void CZipArchive::ReadDirectory(const SDirectory& directory) {
  CRenderGuard guard(LimitsFor(m_input->Size()));
  guard.Reserve(directory.size);
  const std::vector<std::uint8_t> bytes = BytesAt(*m_input, directory.offset, directory.size);
  for (std::size_t at = 0; at < bytes.size();) {
    guard.CheckTime();
    const std::uint8_t* header = bytes.data() + at;
    Require(bytes.size() - at >= kHeaderBytes && FieldAt(header, 4) == 0x02014B50, kDamagedArchive);
    const auto nameSize = static_cast<std::size_t>(FieldAt(header + 28, 2));
    const auto extraSize = static_cast<std::size_t>(FieldAt(header + 30, 2));
    const std::size_t length = kHeaderBytes + nameSize + extraSize + static_cast<std::size_t>(FieldAt(header + 32, 2));
    Require(length <= bytes.size() - at && m_entries.size() < kMostEntries, kDamagedArchive);
    SEntry entry;
    entry.isEncrypted = (FieldAt(header + 8, 2) & 1) != 0;
    entry.method = static_cast<std::uint16_t>(FieldAt(header + 10, 2));
    entry.checksum = static_cast<std::uint32_t>(FieldAt(header + 16, 4));
    entry.packedSize = FieldAt(header + 20, 4);
    entry.size = FieldAt(header + 24, 4);
    entry.header = FieldAt(header + 42, 4);
    const char* name = reinterpret_cast<const char*>(header + kHeaderBytes);
    ReadBigFields(header + kHeaderBytes + nameSize, extraSize, entry);
    m_entries.emplace(std::string(name, nameSize), entry);
    at += length;
  }
}

std::uint64_t CZipArchive::DataOf(const SEntry& entry) const {
  std::uint8_t header[kLocalHeaderBytes] = {};
  const bool isThere = m_input->ReadAt(entry.header, header, sizeof header) == sizeof header;
  Require(isThere && FieldAt(header, 4) == 0x04034B50, kDamagedEntry);
  const std::uint64_t data = entry.header + kLocalHeaderBytes + FieldAt(header + 26, 2) + FieldAt(header + 28, 2);
  Require(data <= m_dataEnd && entry.packedSize <= m_dataEnd - data, kDamagedEntry);
  return data;
}

std::vector<std::uint8_t> CZipArchive::Unpack(const SEntry& entry, CRenderGuard& guard) const {
  if (entry.isEncrypted) throw CUnsupportedError("The archive is encrypted");
  if (entry.method != 0 && entry.method != kDeflated) {
    throw CUnsupportedError("The archive is packed in a way that is not supported");
  }
  const std::uint64_t data = DataOf(entry);
  guard.CheckTime();
  guard.Reserve(entry.packedSize);
  std::vector<std::uint8_t> bytes = BytesAt(*m_input, data, entry.packedSize);
  if (entry.method == kDeflated) bytes = InflateEntry(bytes, entry.size);
  guard.Release(entry.packedSize);
  Require(bytes.size() == entry.size && libdeflate_crc32(0, bytes.data(), bytes.size()) == entry.checksum,
          kDamagedEntry);
  return bytes;
}

}  // namespace imageformats::zarr
