#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <cerrno>
#include <new>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/process/shared_pixels.h"

namespace imageformats {

namespace {

CDescriptor NewMemory(const char* name) {
  CDescriptor memory(memfd_create(name, MFD_CLOEXEC | MFD_ALLOW_SEALING));
  if (!memory) throw std::bad_alloc();
  return memory;
}

std::uint8_t* MapAll(int fd, std::size_t size, int protection) noexcept {
  void* const data = mmap(nullptr, size, protection, MAP_SHARED, fd, 0);
  return data == MAP_FAILED ? nullptr : static_cast<std::uint8_t*>(data);
}

}  // namespace

CSharedPixels CSharedPixels::Create(std::size_t size) {
  CSharedPixels pixels;
  pixels.m_descriptor = NewMemory("qvthumbs-picture");
  const int fd = pixels.m_descriptor.Get();
  if (ftruncate(fd, static_cast<off_t>(size)) != 0) throw std::bad_alloc();
  if (fcntl(fd, F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL) != 0) throw std::bad_alloc();
  pixels.m_data = MapAll(fd, size, PROT_READ);
  if (pixels.m_data == nullptr) throw std::bad_alloc();
  pixels.m_size = size;
  return pixels;
}

CSharedPixels CSharedPixels::Map(CDescriptor descriptor) {
  CSharedPixels pixels;
  struct stat status {};
  Require(descriptor && fstat(descriptor.Get(), &status) == 0 && status.st_size > 0, "There is no memory to draw into");
  const auto size = static_cast<std::size_t>(status.st_size);
  pixels.m_data = MapAll(descriptor.Get(), size, PROT_READ | PROT_WRITE);
  Require(pixels.m_data != nullptr, "There is no memory to draw into");
  pixels.m_size = size;
  return pixels;
}

CSharedPixels::CSharedPixels(CSharedPixels&& other) noexcept
    : m_descriptor(std::move(other.m_descriptor)),
      m_data(std::exchange(other.m_data, nullptr)),
      m_size(std::exchange(other.m_size, 0)) {}

CSharedPixels& CSharedPixels::operator=(CSharedPixels&& other) noexcept {
  std::swap(m_descriptor, other.m_descriptor);
  std::swap(m_data, other.m_data);
  std::swap(m_size, other.m_size);
  return *this;
}

CSharedPixels::~CSharedPixels() {
  if (m_data != nullptr) munmap(m_data, m_size);
}

CDescriptor NewMemoryFile(const void* data, std::size_t size) {
  CDescriptor memory = NewMemory("qvthumbs-stream");
  const auto* next = static_cast<const std::uint8_t*>(data);
  while (size > 0) {
    const ssize_t written = write(memory.Get(), next, size);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) throw std::bad_alloc();
    next += written;
    size -= static_cast<std::size_t>(written);
  }
  return memory;
}

}  // namespace imageformats
