#include "platform/imageformats/zarr/store/zip_archive.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "platform/imageformats/base/format_error.h"

namespace imageformats::zarr {

namespace {

constexpr std::size_t kMostEntries = 1'000'000;
constexpr uLong kEncrypted = 1;
constexpr uLong kDeflated = 8;
// minizip reads directories byte by byte.
constexpr std::size_t kWindow = 1u << 16;

}  // namespace

// The input as minizip reads it.
class CZipArchive::CReader {
 public:
  explicit CReader(std::shared_ptr<const CInput> input) : m_input(std::move(input)), m_window(kWindow) {}

  zlib_filefunc64_def Functions() {
    zlib_filefunc64_def functions{};
    functions.opaque = this;
    functions.zopen64_file = [](voidpf self, const void*, int) -> voidpf { return self; };
    functions.zread_file = [](voidpf self, voidpf, void* buffer, uLong size) -> uLong {
      return static_cast<CReader*>(self)->Read(buffer, size);
    };
    functions.ztell64_file = [](voidpf self, voidpf) -> ZPOS64_T { return static_cast<CReader*>(self)->m_position; };
    functions.zseek64_file = [](voidpf self, voidpf, ZPOS64_T offset, int origin) -> long {
      return static_cast<CReader*>(self)->Seek(offset, origin);
    };
    functions.zclose_file = [](voidpf, voidpf) { return 0; };
    functions.zerror_file = [](voidpf, voidpf) { return 0; };
    return functions;
  }

 private:
  uLong Read(void* buffer, uLong size) noexcept {
    uLong done = 0;
    while (done < size) {
      if (m_position < m_windowStart || m_position >= m_windowStart + m_windowSize) Load();
      const std::uint64_t left = m_windowStart + m_windowSize - m_position;
      if (left == 0) break;
      const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(left, size - done));
      std::memcpy(static_cast<char*>(buffer) + done, m_window.data() + (m_position - m_windowStart), count);
      m_position += count;
      done += count;
    }
    return done;
  }

  void Load() noexcept {
    m_windowStart = m_position;
    m_windowSize = m_input->ReadAt(m_position, m_window.data(), m_window.size());
  }

  long Seek(std::uint64_t offset, int origin) noexcept {
    const std::uint64_t base = origin == ZLIB_FILEFUNC_SEEK_CUR   ? m_position
                               : origin == ZLIB_FILEFUNC_SEEK_END ? m_input->Size()
                                                                  : 0;
    if (offset > m_input->Size() - std::min(base, m_input->Size())) return -1;
    m_position = base + offset;
    return 0;
  }

  std::shared_ptr<const CInput> m_input;
  std::vector<std::uint8_t> m_window;
  std::uint64_t m_position = 0, m_windowStart = 0, m_windowSize = 0;
};

CZipArchive::CZipArchive(std::shared_ptr<const CInput> input) {
  CRenderGuard guard(LimitsFor(input->Size()));
  m_reader = std::make_unique<CReader>(std::move(input));
  zlib_filefunc64_def functions = m_reader->Functions();
  m_zip = unzOpen2_64("", &functions);
  Require(m_zip != nullptr, "The archive is damaged");
  try {
    ReadDirectory(guard);
  } catch (...) {
    unzClose(m_zip);
    throw;
  }
}

CZipArchive::~CZipArchive() { unzClose(m_zip); }

void CZipArchive::ReadDirectory(CRenderGuard& guard) {
  std::vector<char> name(1024);
  for (int found = unzGoToFirstFile(m_zip); found != UNZ_END_OF_LIST_OF_FILE; found = unzGoToNextFile(m_zip)) {
    guard.CheckTime();
    unz_file_info64 info{};
    Require(found == UNZ_OK &&
                unzGetCurrentFileInfo64(m_zip, &info, name.data(), name.size() - 1, nullptr, 0, nullptr, 0) == UNZ_OK,
            "The archive's directory is damaged");
    Require(m_entries.size() < kMostEntries, "The archive holds too many files");
    // Longer names are no names of chunks.
    if (info.size_filename == 0 || info.size_filename >= name.size()) continue;
    SEntry entry;
    entry.size = info.uncompressed_size;
    entry.packedSize = info.compressed_size;
    entry.isStored = info.compression_method == 0;
    entry.isReadable = (info.flag & kEncrypted) == 0 && (entry.isStored || info.compression_method == kDeflated);
    unzGetFilePos64(m_zip, &entry.position);
    m_entries.emplace(std::string(name.data(), info.size_filename), entry);
  }
}

void CZipArchive::OpenEntry(const SEntry& entry) {
  if (!entry.isReadable) throw CUnsupportedError("The archive is encrypted, or packed in a way that is not supported");
  unz64_file_pos position = entry.position;
  Require(unzGoToFilePos64(m_zip, &position) == UNZ_OK && unzOpenCurrentFile(m_zip) == UNZ_OK,
          "A file of the archive is damaged");
}

std::vector<std::uint8_t> CZipArchive::Unpack(const SEntry& entry, CRenderGuard& guard) {
  constexpr std::size_t kStep = 4u << 20;
  // Deflate packs no better than that.
  Require(entry.size / 1100 <= entry.packedSize, "A file of the archive is damaged");
  OpenEntry(entry);
  std::vector<std::uint8_t> bytes;
  bool isWhole = false;
  try {
    bytes.resize(static_cast<std::size_t>(entry.size));
    std::size_t done = 0;
    for (int count = 1; count > 0 && done < bytes.size(); done += static_cast<std::size_t>(std::max(count, 0))) {
      guard.CheckTime();
      count =
          unzReadCurrentFile(m_zip, bytes.data() + done, static_cast<unsigned>(std::min(kStep, bytes.size() - done)));
    }
    isWhole = done == bytes.size();
  } catch (...) {
    unzCloseCurrentFile(m_zip);
    throw;
  }
  const bool isSound = unzCloseCurrentFile(m_zip) == UNZ_OK;
  Require(isWhole && isSound, "A file of the archive is damaged");
  return bytes;
}

std::uint64_t CZipArchive::OffsetOfStored(const SEntry& entry) {
  OpenEntry(entry);
  const std::uint64_t offset = unzGetCurrentFileZStreamPos64(m_zip);
  unzCloseCurrentFile(m_zip);
  Require(offset != 0, "A file of the archive is damaged");
  return offset;
}

}  // namespace imageformats::zarr
