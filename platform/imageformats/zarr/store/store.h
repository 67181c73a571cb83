#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/imageformats/base/input.h"
#include "platform/imageformats/base/render_guard.h"

namespace imageformats::zarr {

// Memory that is reserved as long as the object lives. The guard outlives it.
class CReservation {
 public:
  CReservation() = default;
  CReservation(CRenderGuard& guard, std::uint64_t bytes);
  CReservation(CReservation&& other) noexcept;
  CReservation& operator=(CReservation&& other) noexcept;
  ~CReservation();

 private:
  CRenderGuard* m_guard = nullptr;
  std::uint64_t m_bytes = 0;
};

// A file of a store, opened. Does not outlive the guard that it was opened with.
class CStoredFile {
 public:
  // A part of an input, which is read when it is asked for.
  CStoredFile(std::shared_ptr<const CInput> input, std::uint64_t offset, std::uint64_t size);
  CStoredFile(std::vector<std::uint8_t> bytes, CReservation reservation);

  std::uint64_t Size() const noexcept { return m_size; }
  // Throws CDamagedError when there are not so many.
  void Read(std::uint64_t offset, void* buffer, std::size_t size) const;

 private:
  std::shared_ptr<const CInput> m_input;
  std::uint64_t m_offset = 0, m_size = 0;
  std::vector<std::uint8_t> m_bytes;
  CReservation m_reservation;
};

// Where the files of a Zarr hierarchy lie. Keys are paths from its root, without a slash at either end. One thread.
class IStore {
 public:
  virtual ~IStore() = default;
  // Nothing when there is no such file. `inParts`: it may be large, and is read piece by piece. Throws CFormatError.
  virtual std::optional<CStoredFile> Open(const std::string& key, bool inParts, CRenderGuard& guard) = 0;
};

// A folder, or a zip archive, which may hold the hierarchy at its root or in a folder. Throw CFormatError.
std::unique_ptr<IStore> OpenFolderStore(std::shared_ptr<const CInput> folder);
std::unique_ptr<IStore> OpenZipStore(std::shared_ptr<const CInput> archive);

// The whole of a small file as text; nothing when there is none. Throws CDamagedError above `most` bytes.
std::optional<std::string> ReadText(IStore& store, const std::string& key, std::uint64_t most, CRenderGuard& guard);

// Parts of a path with a slash between them; empty parts are left out.
std::string JoinedKey(const std::string& folder, const std::string& name);

}  // namespace imageformats::zarr
