#pragma once

#include <cstdint>
#include <vector>

#include "host/plates/plate.h"
#include "picture/qvpicture.h"

namespace qvhost {

// Draws a plate: the wells' thumbnails in rows and columns that are named, each as large as fits its cell. Places
// without an image are grey and crossed out, wells whose image failed red.
class CPlatePicture {
 public:
  // `cell` is a well's width in pixels, 0: so that the plate is about 1,600 pixels wide.
  CPlatePicture(const SPlateLayout& plate, std::uint32_t cell);

  // By the well's number in the plate. The picture, 8-bit RGB, is copied as small as it is shown. Throws
  // std::bad_alloc.
  void SetWell(std::size_t well, const SQvPicBuf& picture);
  void SetFailed(std::size_t well) { m_wells[well].failed = true; }

  // Throws std::bad_alloc.
  CQvPicture Draw() const;

 private:
  struct SShownWell {
    CQvPicture picture;
    bool failed = false;
  };

  std::uint32_t CellHeight() const;
  struct SGeometry;
  void DrawNames(const SGeometry& geometry, SQvPicBuf& page) const;
  void DrawCells(const SGeometry& geometry, SQvPicBuf& page) const;

  const SPlateLayout& m_plate;
  const std::uint32_t m_cell;
  std::vector<SShownWell> m_wells;
};

// The most and least pixels of a cell's width.
inline constexpr std::uint32_t kLeastCell = 16, kMostCell = 480;

}  // namespace qvhost
