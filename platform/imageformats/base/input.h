#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "system/qvfile.h"
#include "system/qvstring.h"

namespace imageformats {

// What a picture is read from: a regular file, a folder that is a picture, or a block of memory. Of a folder, what is
// read is the file that describes it, and the others are opened below it. Immutable, with no position of its own, so
// reads from several threads do not disturb each other. Shared by the opened image and the objects it makes.
class CInput {
 public:
  // Opens through the platform's file layer, which finds the file without regard to case and refuses what is neither a
  // regular file nor a folder that is a picture. Throws CDamagedError.
  static std::shared_ptr<const CInput> FromFile(const CQvStringW& path);
  // The memory must stay valid while the input is read. Throws CDamagedError for null or nothing.
  static std::shared_ptr<const CInput> FromMemory(const void* data, std::size_t size);
  // The same of memory that becomes the input's.
  static std::shared_ptr<const CInput> FromBytes(std::vector<std::uint8_t> bytes);

  // A file that somebody else opened, or the content of memory handed over in a file; the descriptor becomes the
  // input's. `path` is empty for memory. `beside` opens the files beside it, or below the folder, null for those that
  // are not there.
  using SBeside = std::function<std::shared_ptr<const CInput>(const std::string& name)>;
  static std::shared_ptr<const CInput> FromHandle(QvFileHandle handle, const CQvStringW& path,
                                                  const CQvStringA& nativePath, SBeside beside, bool isFolder = false);

  CInput(const CInput&) = delete;
  CInput& operator=(const CInput&) = delete;
  ~CInput();

  bool IsFile() const noexcept { return m_isFile; }
  // A file that stands for its folder.
  bool IsFolder() const noexcept { return m_isFolder; }
  // Of files that are open.
  QvFileHandle Handle() const noexcept { return m_handle; }
  // Bytes, as of opening.
  std::uint64_t Size() const noexcept { return m_size; }
  // The size that the file layer gives the picture: of a folder, that of its files.
  std::uint64_t StoredSize() const noexcept;
  // The path as it was asked for, and the name under which the file really exists, in the file system's bytes. Empty
  // for memory.
  const CQvStringW& Path() const noexcept { return m_path; }
  const CQvStringA& NativePath() const noexcept { return m_nativePath; }
  // The whole content when it lies in memory, else empty.
  std::span<const std::uint8_t> Memory() const noexcept { return m_memory; }

  // The file of that plain name in the same folder; null when there is none, and for memory. Throws std::bad_alloc.
  std::shared_ptr<const CInput> OpenBeside(const std::string& name) const;
  // Of a folder, the regular file of that name below it ("0/1/0", in the file system's bytes), which no link leads out
  // of it to; null when there is none. Throws std::bad_alloc.
  std::shared_ptr<const CInput> OpenBelow(const std::string& name) const;

  // Copies up to `size` bytes from `offset`; returns how many there were (0 at and behind the end, or when the file
  // cannot be read).
  std::size_t ReadAt(std::uint64_t offset, void* buffer, std::size_t size) const noexcept;
  // The first bytes, up to kHeadSize, kept from opening: what signatures are matched against.
  std::span<const std::uint8_t> Head() const noexcept { return {m_head, m_headSize}; }

  static constexpr std::size_t kHeadSize = 64;

 private:
  CInput() = default;
  static std::shared_ptr<CInput> OfMemory(const void* data, std::size_t size);
  void OpenDocument(QvFileHandle folder);
  void LoadSize();
  void LoadHead() noexcept;
  std::size_t ReadFileAt(std::uint64_t offset, void* buffer, std::size_t size) const noexcept;

  bool m_isFile = false, m_isFolder = false;
  QvFileHandle m_handle{};
  std::optional<QvFileHandle> m_folder;
  std::uint64_t m_size = 0;
  CQvStringW m_path;
  CQvStringA m_nativePath;
  SBeside m_beside;
  std::vector<std::uint8_t> m_bytes;  // what m_memory is, when it is the input's
  std::span<const std::uint8_t> m_memory;
  std::uint8_t m_head[kHeadSize] = {};
  std::size_t m_headSize = 0;
};

}  // namespace imageformats
