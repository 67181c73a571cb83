#include "platform/imageformats/fits/fits_layout.h"

#include <cmath>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/base/text.h"
#include "platform/imageformats/base/units.h"
#include "system/qvdatetime.h"

namespace imageformats {

namespace {

using EKind = SStoredSamples::EKind;

std::string Numbered(const char* keyword, std::size_t axis) {
  std::string text = keyword;
  return text.append(std::to_string(axis + 1));
}

SStoredSamples FitsSamples(std::int64_t bits) {
  switch (bits) {
    case 8:
      return {EKind::kUnsigned, 1, true};
    case 16:
      return {EKind::kSigned, 2, true};
    case 32:
      return {EKind::kSigned, 4, true};
    case 64:
      return {EKind::kSigned, 8, true};
    case -32:
      return {EKind::kFloat, 4, true};
    case -64:
      return {EKind::kFloat, 8, true};
    default:
      throw CDamagedError("The FITS header names no known type of values");
  }
}

// Unsigned integers are stored as signed ones with half their range as the zero point: kept exact, for floats would
// lose the lowest bits of wide ones.
void ReadScale(const CFitsCards& cards, SArrayLayout& layout) {
  const bool isInteger = layout.samples.kind != EKind::kFloat;
  if (isInteger && cards.Number("BLANK")) layout.blank = cards.Integer("BLANK", 0);
  layout.slope = cards.Number("BSCALE").value_or(1.0);
  layout.intercept = cards.Number("BZERO").value_or(0.0);
  if (layout.slope == 0.0) layout.slope = 1.0;
  const double half = std::ldexp(1.0, static_cast<int>(layout.samples.bytes * 8) - 1);
  if (layout.samples.kind == EKind::kSigned && !layout.blank && layout.slope == 1.0 && layout.intercept == half) {
    layout.samples.kind = EKind::kUnsigned;
    layout.flipsSign = true;
    layout.intercept = 0.0;
  }
}

std::uint32_t FitsSide(std::uint64_t size) {
  if (size > 0xFFFFFFFFu) throw CDamagedError("The FITS header names a size that is too large");
  return static_cast<std::uint32_t>(size);
}

// Colour cameras keep red, green and blue as three planes.
bool IsFitsColor(const SFitsUnit& unit) {
  if (unit.sizes.size() != 3 || unit.sizes[2] != 3) return false;
  const std::string type = unit.cards.Text("CTYPE3");
  return type.empty() || type == "RGB";
}

bool IsLengthAxis(const CFitsCards& cards, std::size_t axis) {
  const std::string type = cards.Text(Numbered("CTYPE", axis));
  return type.empty() || type == "X" || type == "Y" || type == "Z" || type == "LINEAR";
}

// Micrometres from one sample to the next; 0 for axes of anything but length.
double FitsStep(const CFitsCards& cards, std::size_t axis) {
  if (!IsLengthAxis(cards, axis)) return 0.0;
  const std::string own = Numbered("CD", axis);
  std::string diagonal = own;
  diagonal.append("_").append(std::to_string(axis + 1));
  const std::optional<double> delta = cards.Number(Numbered("CDELT", axis));
  const double step = std::fabs(delta ? *delta : cards.Number(diagonal).value_or(0.0));
  return step * MicrometresPer(cards.Text(Numbered("CUNIT", axis))).value_or(0.0);
}

void ReadFitsTime(const CFitsCards& cards, std::size_t axis, SArrayPicture& picture) {
  const bool isTime = cards.Text(Numbered("CTYPE", axis)) == "TIME";
  picture.tLoop = isTime ? kQvLoopTime : kQvLoopCustom;
  if (!isTime) return;
  const double unit = SecondsPer(cards.Text(Numbered("CUNIT", axis))).value_or(0.0);
  picture.timeStep = std::fabs(cards.Number(Numbered("CDELT", axis)).value_or(0.0)) * unit;
}

// Without the words that every file once had to begin with.
std::string FitsComments(const CFitsCards& cards) {
  const std::string& comments = cards.Comments();
  std::string text;
  for (std::size_t at = 0; at < comments.size();) {
    const std::size_t end = std::min(comments.find('\n', at), comments.size());
    const std::string_view line = std::string_view(comments).substr(at, end - at);
    at = end + 1;
    if (line.find("Flexible Image Transport System") != std::string_view::npos ||
        line.find("2001A&A...376") != std::string_view::npos) {
      continue;
    }
    if (!text.empty()) text += '\n';
    text += line;
  }
  return text;
}

void DescribeFrom(const CFitsCards& cards, SImageMetadata& metadata) {
  const auto first = [&](std::initializer_list<const char*> keywords) {
    std::string value;
    for (const char* keyword : keywords) {
      if (value.empty()) value = cards.Text(keyword);
    }
    return TextOf(value);
  };
  SQvImageTextInfo& text = metadata.text;
  SetIfEmpty(text.imageID, first({"OBJECT", "EXTNAME"}));
  SetIfEmpty(text.author, first({"OBSERVER", "AUTHOR"}));
  SetIfEmpty(text.group, first({"ORIGIN"}));
  SetIfEmpty(text.description, TextOf(FitsComments(cards)));
  SetIfEmpty(text.capturing,
             TextOf(Joined({cards.Text("TELESCOP"), cards.Text("INSTRUME"), cards.Text("DETECTOR")}, " ")));
  SetIfEmpty(text.optics, first({"FILTER", "FILTER1"}));
  const double exposure = cards.Number("EXPTIME").value_or(cards.Number("EXPOSURE").value_or(0.0));
  SetIfEmpty(text.info1, TextOf(Labelled("exposure ", exposure, 6, " s")));
  SetIfEmpty(text.info2, first({"CREATOR", "PROGRAM", "SWCREATE"}));
  SetIfEmpty(text.date, first({"DATE-OBS"}));
}

}  // namespace

void LayOutFits(const SFitsUnit& unit, SArrayPicture& picture) {
  const CFitsCards& cards = unit.cards;
  SArrayLayout& layout = picture.layout;
  const auto size = [&](std::size_t axis) { return axis < unit.sizes.size() ? FitsSide(unit.sizes[axis]) : 1; };
  layout.samples = FitsSamples(cards.Integer("BITPIX", 0));
  ReadScale(cards, layout);
  layout.size = {size(0), size(1)};
  layout.x = layout.samples.bytes;
  layout.y = layout.x * layout.size.width;
  const std::uint64_t plane = CRenderGuard::Multiply(layout.y, layout.size.height);
  // The first row is the lowest.
  picture.stack.orientation = EOrientation::kBottomLeft;
  SImageMetadata& metadata = picture.metadata;
  metadata.calibration = FitsStep(cards, 0);
  if (metadata.calibration > 0.0) metadata.aspect = FitsStep(cards, 1) / metadata.calibration;
  picture.source.size = plane;
  for (std::size_t i = 2; i < unit.sizes.size(); ++i) {
    picture.source.size = CRenderGuard::Multiply(picture.source.size, unit.sizes[i]);
  }
  if (IsFitsColor(unit)) {
    layout.components = 3;
    layout.component = plane;
    return;
  }
  layout.z = plane;
  layout.t = CRenderGuard::Multiply(plane, size(2));
  layout.position = CRenderGuard::Multiply(layout.t, size(3));
  picture.stack.sizeZ = size(2);
  picture.stack.sizeT = size(3);
  picture.stack.positions = size(4);
  metadata.picture.zStep = FitsStep(cards, 2);
  picture.zLoop = metadata.picture.zStep > 0.0 ? kQvLoopZ : kQvLoopCustom;
  ReadFitsTime(cards, 3, picture);
}

void DescribeFits(const SFitsUnit& unit, const SFitsUnit& first, SArrayPicture& picture) {
  SImageMetadata& metadata = picture.metadata;
  DescribeFrom(unit.cards, metadata);
  DescribeFrom(first.cards, metadata);
  const std::string date = CQvStringUtils::WtoUTF8(metadata.text.date).Str();
  CQvDateTime time;
  if (time.SetIso(date.c_str())) metadata.acquisitionTime = time.GetJulianDayNumber();
}

}  // namespace imageformats
