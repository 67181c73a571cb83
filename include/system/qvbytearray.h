#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

// A growable block of bytes that owns its memory. Not synchronised.
class CQvByteArray {
 public:
  std::size_t GetSize() const noexcept { return m_bytes.size(); }
  bool IsEmpty() const noexcept { return m_bytes.empty(); }

  // Pointer to the byte at `offset`; null when the array is empty or the offset lies behind the end. Valid until the
  // array changes.
  std::uint8_t* GetData(std::size_t offset) noexcept {
    return offset < m_bytes.size() ? m_bytes.data() + offset : nullptr;
  }
  const std::uint8_t* GetData(std::size_t offset) const noexcept {
    return offset < m_bytes.size() ? m_bytes.data() + offset : nullptr;
  }

  // Replaces everything from `offset` on with a copy of `size` bytes; bytes between the old end and `offset` are zero.
  // `reserve` more bytes of room are set aside for later appends. A null `data` with size 0 empties the tail.
  void SetData(const void* data, std::size_t size, std::size_t offset, std::size_t reserve) {
    m_bytes.resize(offset);
    m_bytes.reserve(offset + size + reserve);
    Append(data, size);
  }

  void Append(const void* data, std::size_t size) {
    const auto* first = static_cast<const std::uint8_t*>(data);
    if (size != 0) m_bytes.insert(m_bytes.end(), first, first + size);
  }
  // New bytes are zero.
  void Resize(std::size_t size) { m_bytes.resize(size); }
  void Clear() noexcept { m_bytes.clear(); }

 private:
  std::vector<std::uint8_t> m_bytes;
};
