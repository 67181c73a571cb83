#include "host/plates/plate_picture.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "host/output/drawing.h"
#include "host/output/fitted_size.h"

namespace qvhost {
namespace {

constexpr std::uint32_t kPlateWidth = 1600;  // pixels, about
constexpr std::uint32_t kLargestCell = 160;  // of a plate of few wells
constexpr std::int64_t kWellGap = 2;

constexpr SRgbColor kPaper = {255, 255, 255};
constexpr SRgbColor kInk = {40, 40, 44};
constexpr SRgbColor kEmpty = {232, 232, 236}, kEmptyLine = {200, 200, 206};
constexpr SRgbColor kFailedFill = {250, 220, 216}, kFailedLine = {190, 60, 50};
constexpr SRgbColor kGround = {0, 0, 0};  // behind pictures that do not fill their cell

std::uint32_t ChooseCell(std::uint32_t columns) {
  return std::clamp(kPlateWidth / std::max(columns, 1u), kLeastCell, kLargestCell);
}

CQvPicture Reduced(const SQvPicBuf& picture, std::uint32_t box) {
  const SFittedSize size = FitIntoSquare(picture.width, picture.height, box);
  CQvPicture small;
  if (!small.Reinit(size.width, size.height, 8, 3, false) ||
      CQvPicBufAPI_GeomTrans::Stretch(small.Get(), &picture, CQvPicBufAPI_GeomTrans::kStretchArea) != 0) {
    throw std::bad_alloc();
  }
  return small;
}

void CrossOut(SQvPicBuf& page, const SDrawBox& box, const SRgbColor& ground, const SRgbColor& line) {
  FillBox(page, box, ground);
  const double x = static_cast<double>(box.x), y = static_cast<double>(box.y);
  const double width = static_cast<double>(box.width), height = static_cast<double>(box.height);
  const double margin = std::min(width, height) * 0.3, thickness = std::max(width * 0.02, 1.0);
  DrawLine(page, {x + margin, y + margin}, {x + width - margin, y + height - margin}, thickness, line);
  DrawLine(page, {x + margin, y + height - margin}, {x + width - margin, y + margin}, thickness, line);
}

void Place(SQvPicBuf& page, const SDrawBox& box, const CQvPicture& picture) {
  FillBox(page, box, kGround);
  const auto left = static_cast<std::size_t>(box.x + (box.width - picture->width) / 2);
  const auto top = static_cast<std::size_t>(box.y + (box.height - picture->height) / 2);
  for (std::uint32_t y = 0; y < picture->height; ++y) {
    std::copy_n(picture.Row(y), std::size_t{picture->width} * 3,
                static_cast<std::uint8_t*>(page.data) + (top + y) * page.widthBytes + left * 3);
  }
}

}  // namespace

// Where cells and names are.
struct CPlatePicture::SGeometry {
  double text;                         // height of the capitals
  std::int64_t cellWidth, cellHeight;  // pixels
  std::int64_t left, top;              // of the first cell
  std::int64_t pageWidth, pageHeight;

  SGeometry(const SPlateLayout& plate, std::uint32_t cell, std::uint32_t height)
      : text(std::clamp(std::round(cell * 0.28), 7.0, 16.0)),
        cellWidth(cell),
        cellHeight(height),
        left(std::lround(TextWidth(RowName(plate.rows - 1), text) + 1.6 * text)),
        top(std::lround(2.4 * text)),
        pageWidth(left + plate.columns * (cellWidth + kWellGap) + std::lround(text)),
        pageHeight(top + plate.rows * (cellHeight + kWellGap) + std::lround(text)) {}

  SDrawBox Cell(std::uint32_t row, std::uint32_t column) const {
    return {left + column * (cellWidth + kWellGap), top + row * (cellHeight + kWellGap), cellWidth, cellHeight};
  }
};

CPlatePicture::CPlatePicture(const SPlateLayout& plate, std::uint32_t cell)
    : m_plate(plate), m_cell(cell != 0 ? cell : ChooseCell(plate.columns)), m_wells(plate.wells.size()) {}

void CPlatePicture::SetWell(std::size_t well, const SQvPicBuf& picture) {
  m_wells[well].picture = Reduced(picture, m_cell);
}

// As high as the highest thumbnail, so that a plate of wide pictures has no empty stripes.
std::uint32_t CPlatePicture::CellHeight() const {
  std::uint32_t height = 0;
  for (const SShownWell& well : m_wells) {
    if (well.picture.HasPixels()) height = std::max(height, well.picture->height);
  }
  return height != 0 ? std::max(height, kLeastCell) : m_cell;
}

void CPlatePicture::DrawNames(const SGeometry& geometry, SQvPicBuf& page) const {
  const STextStyle style{geometry.text, kInk, false};
  const auto center = [&](std::int64_t from, std::int64_t extent, double size) {
    return static_cast<double>(from) + (static_cast<double>(extent) - size) / 2.0;
  };
  for (std::uint32_t column = 0; column < m_plate.columns; ++column) {
    const std::string name = std::to_string(column + 1);
    const SDrawBox cell = geometry.Cell(0, column);
    DrawText(page, {center(cell.x, cell.width, TextWidth(name, style.height)), 0.7 * style.height}, name, style);
  }
  for (std::uint32_t row = 0; row < m_plate.rows; ++row) {
    const std::string name = RowName(row);
    const SDrawBox cell = geometry.Cell(row, 0);
    DrawText(page, {center(0, geometry.left, TextWidth(name, style.height)), center(cell.y, cell.height, style.height)},
             name, style);
  }
}

void CPlatePicture::DrawCells(const SGeometry& geometry, SQvPicBuf& page) const {
  for (std::uint32_t row = 0; row < m_plate.rows; ++row) {
    for (std::uint32_t column = 0; column < m_plate.columns; ++column) {
      CrossOut(page, geometry.Cell(row, column), kEmpty, kEmptyLine);
    }
  }
  for (std::size_t i = 0; i < m_wells.size(); ++i) {
    const SDrawBox cell = geometry.Cell(m_plate.wells[i].row, m_plate.wells[i].column);
    if (m_wells[i].picture.HasPixels()) {
      Place(page, cell, m_wells[i].picture);
    } else if (m_wells[i].failed) {
      CrossOut(page, cell, kFailedFill, kFailedLine);
    }
  }
}

CQvPicture CPlatePicture::Draw() const {
  const SGeometry geometry(m_plate, m_cell, CellHeight());
  CQvPicture page;
  if (!page.Reinit(static_cast<std::uint32_t>(geometry.pageWidth), static_cast<std::uint32_t>(geometry.pageHeight), 8,
                   3, false)) {
    throw std::bad_alloc();
  }
  FillBox(*page.Get(), {0, 0, geometry.pageWidth, geometry.pageHeight}, kPaper);
  DrawNames(geometry, *page.Get());
  DrawCells(geometry, *page.Get());
  return page;
}

}  // namespace qvhost
