#pragma once

#include <cstdint>
#include <vector>

#include "platform/imageformats/base/render_guard.h"
#include "platform/imageformats/dicom/dicom_header.h"

namespace imageformats {

// Where the frames' bytes lie: one behind the other, or in fragments (PS3.5, A.4). The input must outlive it.
class CDicomFrames {
 public:
  // Throws CDamagedError when frames are missing.
  CDicomFrames(const CInput& input, const SDicomHeader& header, CRenderGuard& guard);

  // The bytes of a frame, its fragments joined; in `bytes`, which is not shrunk. Returns their number.
  std::size_t Read(std::uint32_t frame, std::vector<std::uint8_t>& bytes);

 private:
  struct SPiece {
    std::uint64_t offset;
    std::uint32_t size;
  };
  void FindFragments(CRenderGuard& guard);
  void GroupFragments(const std::vector<std::uint32_t>& offsets, CRenderGuard& guard);

  const CInput& m_input;
  const SDicomHeader& m_header;
  CRenderGuard& m_guard;
  std::uint64_t m_nativeBytes = 0;  // of a frame that is not in fragments
  std::vector<SPiece> m_fragments;
  std::vector<std::uint32_t> m_firsts;  // of each frame, and behind the last
};

}  // namespace imageformats
