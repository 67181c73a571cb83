#include "platform/imageformats/arrays/array_codec.h"

#include <utility>

#include "platform/imageformats/arrays/byte_stream.h"

namespace imageformats {

bool CArrayCodec::Matches(const CInput& input) const noexcept {
  try {
    const bool isPacked = IsGzip(input);
    if (isPacked && !m_format.mayBeGzip) return false;
    return m_format.begins(UnpackedHead(input, kHeadBytes), isPacked ? 0 : input.Size());
  } catch (const std::exception&) {
    return false;
  }
}

bool CArrayCodec::MayMatch(const CInput& input) const noexcept {
  return IsGzip(input) ? m_format.mayBeGzip : Matches(input);
}

bool CArrayCodec::IsSettledByFirstLook(const CInput& input) const noexcept { return !IsGzip(input); }

std::unique_ptr<COpenedImage> CArrayCodec::Open(std::shared_ptr<const CInput> input) const {
  return std::make_unique<CArrayImage>(m_format.read(std::move(input)));
}

}  // namespace imageformats
