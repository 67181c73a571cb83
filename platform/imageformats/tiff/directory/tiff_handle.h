#pragma once

#include <tiffio.h>

#include <cstdint>
#include <memory>
#include <string>

#include "platform/imageformats/base/input.h"

namespace imageformats::tiff {

// The one owner of a libtiff handle. Reads through a CInput, never maps it (a file that shrinks under a mapping would
// end the process), loads strip and tile tables piece by piece, and keeps the library's messages to itself. One thread.
class CTiffHandle {
 public:
  // Reads the file header only. Throws CDamagedError when it is not a TIFF header.
  explicit CTiffHandle(std::shared_ptr<const CInput> input);
  CTiffHandle(const CTiffHandle&) = delete;
  CTiffHandle& operator=(const CTiffHandle&) = delete;
  ~CTiffHandle();

  // libtiff's handle for reading tags and pixels of the selected directory.
  TIFF* Get() const noexcept;
  const CInput& Source() const noexcept;
  const std::shared_ptr<const CInput>& SharedSource() const noexcept;

  // Makes the directory at that file offset the current one; does nothing when it is already. Throws CDamagedError with
  // libtiff's reason.
  void Select(std::uint64_t directoryOffset);

  bool IsBigTiff() const noexcept;
  bool IsBigEndian() const noexcept;
  // Whether the file's byte order differs from the machine's.
  bool IsSwapped() const noexcept;

  // libtiff's first error, and first warning, since the last ClearMessages; empty when there was none. UTF-8, one line.
  const std::string& Error() const noexcept;
  const std::string& Warning() const noexcept;
  void ClearMessages() noexcept;

 private:
  struct SState;
  std::unique_ptr<SState> m_state;
};

// Single allocations of libtiff, from sizes that a file claims, stay below this.
inline constexpr std::int64_t kMaxTiffAllocation = 128 << 20;

}  // namespace imageformats::tiff
