#include "platform/imageformats/zarr/store/store.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "platform/imageformats/base/format_error.h"

namespace imageformats::zarr {

CReservation::CReservation(CRenderGuard& guard, std::uint64_t bytes) : m_guard(&guard), m_bytes(bytes) {
  guard.Reserve(bytes);
}
CReservation::CReservation(CReservation&& other) noexcept
    : m_guard(std::exchange(other.m_guard, nullptr)), m_bytes(other.m_bytes) {}
CReservation& CReservation::operator=(CReservation&& other) noexcept {
  std::swap(m_guard, other.m_guard);
  std::swap(m_bytes, other.m_bytes);
  return *this;
}
CReservation::~CReservation() {
  if (m_guard) m_guard->Release(m_bytes);
}

CStoredFile::CStoredFile(std::shared_ptr<const CInput> input, std::uint64_t offset, std::uint64_t size)
    : m_input(std::move(input)), m_offset(offset), m_size(size) {}
CStoredFile::CStoredFile(std::vector<std::uint8_t> bytes, CReservation reservation)
    : m_size(bytes.size()), m_bytes(std::move(bytes)), m_reservation(std::move(reservation)) {}

void CStoredFile::Read(std::uint64_t offset, void* buffer, std::size_t size) const {
  const bool isInside = offset <= m_size && size <= m_size - offset;
  Require(isInside, "A chunk of the picture is cut off");
  if (size == 0) return;
  if (!m_input) {
    std::memcpy(buffer, m_bytes.data() + offset, size);
  } else {
    Require(m_input->ReadAt(m_offset + offset, buffer, size) == size, "A chunk of the picture cannot be read");
  }
}

std::optional<std::string> ReadText(IStore& store, const std::string& key, std::uint64_t most, CRenderGuard& guard) {
  const std::optional<CStoredFile> file = store.Open(key, false, guard);
  if (!file) return std::nullopt;
  Require(file->Size() <= most, "The picture's description is too large");
  std::string text(static_cast<std::size_t>(file->Size()), '\0');
  file->Read(0, text.data(), text.size());
  return text;
}

std::string JoinedKey(const std::string& folder, const std::string& name) {
  if (folder.empty() || name.empty()) return folder + name;
  return folder + "/" + name;
}

}  // namespace imageformats::zarr
