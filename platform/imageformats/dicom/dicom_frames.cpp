#include "platform/imageformats/dicom/dicom_frames.h"

#include <algorithm>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/base/integers.h"

namespace imageformats {

namespace {

constexpr CDicomTag kFragment = 0xFFFEE000;

}  // namespace

CDicomFrames::CDicomFrames(const CInput& input, const SDicomHeader& header, CRenderGuard& guard)
    : m_input(input), m_header(header), m_guard(guard) {
  if (header.pixelsLength == kDicomUndefinedLength) {
    Require(header.coding != EDicomCoding::kNative, "The DICOM file's pixels are not where they should be");
    FindFragments(guard);
    return;
  }
  Require(header.coding == EDicomCoding::kNative, "The DICOM file's pixels are not where they should be");
  const std::uint64_t pixels = std::uint64_t{header.frame.width} * header.frame.height;
  // Chroma of every second pixel: two samples a pixel.
  const std::uint32_t samples = header.photometric == "YBR_FULL_422" ? 2 : header.samples;
  m_nativeBytes = CRenderGuard::Multiply(pixels, std::uint64_t{samples} * (header.bitsAllocated / 8));
  const std::uint64_t all = CRenderGuard::Multiply(m_nativeBytes, header.frames);
  Require(all <= header.pixelsLength && all <= input.Size() - std::min(input.Size(), header.pixels),
          "The file is truncated: it is smaller than its picture");
}

void CDicomFrames::FindFragments(CRenderGuard& guard) {
  CBufferedInput items(m_input, m_header.pixels);
  std::uint8_t head[8];
  std::vector<std::uint32_t> offsets;
  for (bool isFirst = true; items.Read(head, sizeof head) == sizeof head; isFirst = false) {
    const auto tag = static_cast<CDicomTag>(IntegerAt(head, 2, false) << 16 | IntegerAt(head + 2, 2, false));
    if (tag != kFragment) break;
    const SPiece piece{items.Position(), static_cast<std::uint32_t>(IntegerAt(head + 4, 4, false))};
    Require(piece.size <= m_input.Size() - std::min(m_input.Size(), piece.offset),
            "The file is truncated: a frame is not complete");
    if (isFirst) {
      for (std::uint32_t i = 0; i < piece.size / 4; ++i) {
        guard.CheckTime();
        offsets.push_back(static_cast<std::uint32_t>(ReadInteger(m_input, piece.offset + 4 * i, 4, false)));
      }
    } else {
      m_fragments.push_back(piece);
    }
    items.Skip(piece.size);
    guard.CheckTime();
  }
  GroupFragments(offsets, guard);
}

void CDicomFrames::GroupFragments(const std::vector<std::uint32_t>& offsets, CRenderGuard& guard) {
  Require(m_fragments.size() >= m_header.frames, "The file is truncated: frames are missing");
  guard.Reserve(m_fragments.size() * sizeof(SPiece) + (std::uint64_t{m_header.frames} + 1) * 4);
  const auto count = static_cast<std::uint32_t>(m_fragments.size());
  if (m_header.frames == 1) {
    m_firsts = {0};
  } else if (count == m_header.frames) {
    for (std::uint32_t i = 0; i < count; ++i) m_firsts.push_back(i);
  } else {
    Require(offsets.size() == m_header.frames, "The DICOM file does not tell where its frames are");
    // Offsets count from the first fragment's head.
    const std::uint64_t start = m_fragments.front().offset - 8;
    for (const std::uint32_t offset : offsets) {
      const auto at = std::lower_bound(m_fragments.begin(), m_fragments.end(), start + offset + 8,
                                       [](const SPiece& piece, std::uint64_t place) { return piece.offset < place; });
      m_firsts.push_back(static_cast<std::uint32_t>(at - m_fragments.begin()));
    }
  }
  m_firsts.push_back(count);
  Require(std::is_sorted(m_firsts.begin(), m_firsts.end()), "The DICOM file does not tell where its frames are");
}

std::size_t CDicomFrames::Read(std::uint32_t frame, std::vector<std::uint8_t>& bytes) {
  m_guard.CheckTime();
  std::vector<SPiece> whole;
  std::uint64_t size = m_nativeBytes;
  if (m_firsts.empty()) {
    whole.push_back({m_header.pixels + m_nativeBytes * frame, 0});
  } else {
    whole.assign(m_fragments.begin() + m_firsts[frame], m_fragments.begin() + m_firsts[frame + 1]);
    size = 0;
    for (const SPiece& piece : whole) size += piece.size;
  }
  if (bytes.size() < size) {
    m_guard.Reserve(size - bytes.size());
    bytes.resize(static_cast<std::size_t>(size));
  }
  std::size_t done = 0;
  for (const SPiece& piece : whole) {
    const std::size_t part = m_firsts.empty() ? static_cast<std::size_t>(size) : piece.size;
    Require(m_input.ReadAt(piece.offset, bytes.data() + done, part) == part,
            "The file is truncated: a frame is not complete");
    done += part;
  }
  return done;
}

}  // namespace imageformats
