#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/imageformats/process/descriptor.h"

namespace imageformats {

// Memory that the viewer lends to a decoder for a picture. It cannot be made smaller or larger by either, so that no
// access ever fails; what stands in it may change while it is looked at.
class CSharedPixels {
 public:
  CSharedPixels() = default;
  // The viewer's: zeroed, to be read. Throws std::bad_alloc.
  static CSharedPixels Create(std::size_t size);
  // The decoder's: to be written. Throws CDamagedError when it cannot be mapped.
  static CSharedPixels Map(CDescriptor descriptor);

  CSharedPixels(CSharedPixels&& other) noexcept;
  CSharedPixels& operator=(CSharedPixels&& other) noexcept;
  ~CSharedPixels();

  int Handle() const noexcept { return m_descriptor.Get(); }
  std::size_t Size() const noexcept { return m_size; }
  std::uint8_t* Data() const noexcept { return m_data; }

 private:
  CDescriptor m_descriptor;
  std::uint8_t* m_data = nullptr;
  std::size_t m_size = 0;
};

// A file in memory that holds these bytes. Throws std::bad_alloc.
CDescriptor NewMemoryFile(const void* data, std::size_t size);

}  // namespace imageformats
