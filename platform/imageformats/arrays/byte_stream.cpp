#include "platform/imageformats/arrays/byte_stream.h"

#include <utility>

namespace imageformats {

namespace {

constexpr std::size_t kPieceBytes = 64 << 10;

}  // namespace

CPackedPieces::CPackedPieces(std::shared_ptr<const CInput> input, std::uint64_t offset, CRenderGuard& guard)
    : m_input(std::move(input)), m_offset(offset), m_guard(guard) {
  m_guard.Reserve(kPieceBytes);
  m_bytes.resize(kPieceBytes);
}

CPackedPieces::~CPackedPieces() { m_guard.Release(kPieceBytes); }

CPackedPieces::SPiece CPackedPieces::Next() {
  m_guard.CheckTime();
  const std::size_t size = m_input->ReadAt(m_offset, m_bytes.data(), m_bytes.size());
  m_offset += size;
  return {m_bytes.data(), size};
}

bool IsGzip(const CInput& input) noexcept {
  const auto head = input.Head();
  return head.size() > 2 && head[0] == 0x1F && head[1] == 0x8B && head[2] == 8;
}

std::vector<std::uint8_t> UnpackedHead(const CInput& input, std::size_t size) {
  std::vector<std::uint8_t> head(size);
  if (IsGzip(input)) {
    CRenderGuard guard;
    const std::shared_ptr<const CInput> borrowed(std::shared_ptr<void>(), &input);
    head.resize(OpenGzipStream(borrowed, 0, guard)->Read(head.data(), size));
  } else {
    head.resize(input.ReadAt(0, head.data(), size));
  }
  return head;
}

}  // namespace imageformats
