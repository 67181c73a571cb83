#include "host/output/drawing.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "host/output/stroke_font.h"

namespace qvhost {
namespace {

struct SSegment {
  SDrawPoint from, to;
};

double Distance(SDrawPoint point, const SSegment& segment) noexcept {
  const double dx = segment.to.x - segment.from.x, dy = segment.to.y - segment.from.y;
  const double length = dx * dx + dy * dy;
  const double along = (point.x - segment.from.x) * dx + (point.y - segment.from.y) * dy;
  const double share = length > 0.0 ? std::clamp(along / length, 0.0, 1.0) : 0.0;
  return std::hypot(point.x - segment.from.x - share * dx, point.y - segment.from.y - share * dy);
}

void Blend(std::uint8_t* pixel, const SRgbColor& color, double share) noexcept {
  for (std::size_t i = 0; i < color.size(); ++i) {
    pixel[i] = static_cast<std::uint8_t>(std::lround(pixel[i] + (color[i] - pixel[i]) * share));
  }
}

std::uint8_t* PixelAt(SQvPicBuf& picture, std::int64_t x, std::int64_t y) noexcept {
  return static_cast<std::uint8_t*>(picture.data) + static_cast<std::size_t>(y) * picture.widthBytes +
         static_cast<std::size_t>(x) * 3;
}

SDrawBox Clipped(const SQvPicBuf& picture, double left, double top, double right, double bottom) noexcept {
  const double width = picture.width, height = picture.height;
  const auto x = static_cast<std::int64_t>(std::clamp(std::floor(left), 0.0, width));
  const auto y = static_cast<std::int64_t>(std::clamp(std::floor(top), 0.0, height));
  return {x, y, static_cast<std::int64_t>(std::clamp(std::ceil(right), 0.0, width)) - x,
          static_cast<std::int64_t>(std::clamp(std::ceil(bottom), 0.0, height)) - y};
}

SDrawBox BoxAround(const SQvPicBuf& picture, const std::vector<SSegment>& strokes, double margin) noexcept {
  SDrawPoint least = strokes.front().from, most = least;
  for (const SSegment& stroke : strokes) {
    for (const SDrawPoint& end : {stroke.from, stroke.to}) {
      least = {std::min(least.x, end.x), std::min(least.y, end.y)};
      most = {std::max(most.x, end.x), std::max(most.y, end.y)};
    }
  }
  return Clipped(picture, least.x - margin, least.y - margin, most.x + margin, most.y + margin);
}

// One coat over all strokes together, so that crossings are not painted twice.
void Paint(SQvPicBuf& picture, const std::vector<SSegment>& strokes, double thickness, const SRgbColor& color) {
  if (strokes.empty()) return;
  const double radius = thickness / 2.0;
  const SDrawBox box = BoxAround(picture, strokes, radius + 1.0);
  for (std::int64_t y = box.y; y < box.y + box.height; ++y) {
    for (std::int64_t x = box.x; x < box.x + box.width; ++x) {
      const SDrawPoint center{static_cast<double>(x) + 0.5, static_cast<double>(y) + 0.5};
      double nearest = HUGE_VAL;
      for (const SSegment& stroke : strokes) nearest = std::min(nearest, Distance(center, stroke));
      const double share = std::clamp(radius + 0.5 - nearest, 0.0, 1.0);
      if (share > 0.0) Blend(PixelAt(picture, x, y), color, share);
    }
  }
}

double StrokeThickness(double height) noexcept { return std::max(height * 0.15, 1.2); }

std::vector<SSegment> StrokesOf(std::string_view utf8, SDrawPoint corner, double height) {
  const double scale = height / kGlyphHeight;
  std::vector<SSegment> strokes;
  ForEachStroke(utf8, [&](double x1, double y1, double x2, double y2) {
    strokes.push_back({{corner.x + x1 * scale, corner.y + y1 * scale}, {corner.x + x2 * scale, corner.y + y2 * scale}});
  });
  return strokes;
}

}  // namespace

void FillBox(SQvPicBuf& picture, const SDrawBox& box, const SRgbColor& color) {
  const SDrawBox inside = Clipped(picture, static_cast<double>(box.x), static_cast<double>(box.y),
                                  static_cast<double>(box.x + box.width), static_cast<double>(box.y + box.height));
  for (std::int64_t y = inside.y; y < inside.y + inside.height; ++y) {
    for (std::int64_t x = inside.x; x < inside.x + inside.width; ++x) {
      std::copy(color.begin(), color.end(), PixelAt(picture, x, y));
    }
  }
}

void DrawLine(SQvPicBuf& picture, SDrawPoint from, SDrawPoint to, double thickness, const SRgbColor& color) {
  Paint(picture, {{from, to}}, thickness, color);
}

double TextWidth(std::string_view utf8, double height) {
  return TextUnits(utf8) * height / kGlyphHeight + StrokeThickness(height);
}

void DrawText(SQvPicBuf& picture, SDrawPoint corner, std::string_view utf8, const STextStyle& style) {
  const double thickness = StrokeThickness(style.height);
  const std::vector<SSegment> strokes = StrokesOf(utf8, {corner.x + thickness / 2.0, corner.y}, style.height);
  if (style.outlined) Paint(picture, strokes, thickness + std::max(style.height * 0.2, 2.4), kBlackInk);
  Paint(picture, strokes, thickness, style.color);
}

}  // namespace qvhost
