#include "host/output/stroke_font.h"

#include <algorithm>
#include <iterator>

#include "system/qvstring.h"

namespace qvhost {
namespace {

constexpr double kGap = 2.0;
constexpr double kBlank = 2.0;

// Polylines apart by blanks, each a row of points of two digits, x and y.
struct SGlyph {
  wchar_t character;
  int width;
  const char* lines;
};

constexpr SGlyph kGlyphs[] = {
    {L'0', 4, "103041453616050110"},
    {L'1', 3, "011016 0626"},
    {L'2', 4, "01103041420646"},
    {L'3', 4, "0110304142334445361605 3323"},
    {L'4', 4, "36300444"},
    {L'5', 4, "400003334445361605"},
    {L'6', 4, "413010010516364544331304"},
    {L'7', 4, "004016"},
    {L'8', 4, "13020110304142331304051636454433"},
    {L'9', 4, "051636454130100102133342"},
    {L'.', 0, "0606"},
    {L'-', 3, "0333"},
    {L'A', 4, "062046 1434"},
    {L'B', 4, "003041423303 334445360600"},
    {L'C', 4, "4130100105163645"},
    {L'D', 4, "00304145360600"},
    {L'E', 4, "40000646 0333"},
    {L'F', 4, "400006 0333"},
    {L'G', 4, "41301001051636454323"},
    {L'H', 4, "0006 4046 0343"},
    {L'I', 2, "0020 1016 0626"},
    {L'J', 4, "4045361605"},
    {L'K', 4, "0006 4004 1346"},
    {L'L', 4, "000646"},
    {L'M', 4, "0600234046"},
    {L'N', 4, "06004640"},
    {L'O', 4, "103041453616050110"},
    {L'P', 4, "06003041423303"},
    {L'Q', 4, "103041453616050110 2446"},
    {L'R', 4, "06003041423303 2346"},
    {L'S', 4, "413010010213334445361605"},
    {L'T', 4, "0040 2026"},
    {L'U', 4, "000516364540"},
    {L'V', 4, "002640"},
    {L'W', 4, "0016223640"},
    {L'X', 4, "0046 4006"},
    {L'Y', 4, "002340 2326"},
    {L'Z', 4, "00400646"},
    {L'm', 6, "0206 0312223336 3342526366"},
    {L'n', 4, "0206 0312324346"},
    {L'p', 4, "0208 0312324345361605"},
    {L'\u00B5', 4, "0208 05163645 4246"},
};

const SGlyph* FindGlyph(wchar_t character) noexcept {
  const auto* glyph = std::find_if(std::begin(kGlyphs), std::end(kGlyphs),
                                   [character](const SGlyph& candidate) { return candidate.character == character; });
  return glyph == std::end(kGlyphs) ? nullptr : glyph;
}

double WidthOf(const SGlyph* glyph) noexcept { return glyph ? glyph->width : kBlank; }

using Visit = std::function<void(double x1, double y1, double x2, double y2)>;

void VisitGlyph(const SGlyph& glyph, double left, const Visit& visit) {
  const std::string_view lines = glyph.lines;
  const auto x = [&](std::size_t at) { return left + (lines[at] - '0'); };
  const auto y = [&](std::size_t at) { return static_cast<double>(lines[at + 1] - '0'); };
  for (std::size_t at = 0; at + 3 < lines.size(); at += 2) {
    if (lines[at + 2] == ' ') {
      ++at;
    } else {
      visit(x(at), y(at), x(at + 2), y(at + 2));
    }
  }
}

}  // namespace

void ForEachStroke(std::string_view utf8, const Visit& visit) {
  const CQvStringW text = CQvStringUtils::UTF8toW(utf8);
  double left = 0.0;
  for (const wchar_t character : text.Str()) {
    const SGlyph* glyph = FindGlyph(character);
    if (glyph) VisitGlyph(*glyph, left, visit);
    left += WidthOf(glyph) + kGap;
  }
}

double TextUnits(std::string_view utf8) {
  const CQvStringW text = CQvStringUtils::UTF8toW(utf8);
  double units = 0.0;
  for (const wchar_t character : text.Str()) units += WidthOf(FindGlyph(character)) + kGap;
  return std::max(units - kGap, 0.0);
}

}  // namespace qvhost
