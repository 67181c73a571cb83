#include "platform/imageformats/zarr/ngff/axes.h"

#include <algorithm>
#include <string_view>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/base/text.h"

namespace imageformats::zarr {

namespace {

EAxis KindOf(const std::string& name, const std::string& type) {
  const std::string lower = LowerAscii(name);
  if (type == "time" || lower == "t") return EAxis::kTime;
  if (type == "channel" || lower == "c") return EAxis::kChannel;
  if (lower == "x") return EAxis::kX;
  if (lower == "y") return EAxis::kY;
  if (lower == "z") return EAxis::kZ;
  return EAxis::kOther;
}

bool Has(const std::vector<SAxis>& axes, EAxis kind) {
  return std::any_of(axes.begin(), axes.end(), [=](const SAxis& axis) { return axis.kind == kind; });
}

// Of several axes of one kind, the last one is it.
void KeepOneOfEach(std::vector<SAxis>& axes) {
  for (std::size_t i = 0; i < axes.size(); ++i) {
    const auto isSame = [&](const SAxis& other) { return other.kind == axes[i].kind; };
    if (std::any_of(axes.begin() + static_cast<std::ptrdiff_t>(i) + 1, axes.end(), isSame))
      axes[i].kind = EAxis::kOther;
  }
}

// The last axis that is nothing else yet.
void NameLast(std::vector<SAxis>& axes, EAxis kind) {
  if (Has(axes, kind)) return;
  const auto last = std::find_if(axes.rbegin(), axes.rend(), [](const SAxis& a) { return a.kind == EAxis::kOther; });
  if (last != axes.rend()) last->kind = kind;
}

}  // namespace

std::vector<SAxis> ReadAxes(const CJson& multiscale, std::size_t count) {
  constexpr std::string_view kDefault = "tczyx";
  std::vector<SAxis> axes(count);
  const std::vector<CJson>& listed = Elements(Member(multiscale, "axes"));
  Require(listed.empty() || listed.size() == count, "The picture's axes do not fit its arrays");
  Require(count >= 2, "The picture has fewer than two axes");
  for (std::size_t i = 0; i < count; ++i) {
    if (listed.empty()) {
      const std::size_t behind = count - i;
      if (behind <= kDefault.size()) axes[i].kind = KindOf(std::string(1, kDefault[kDefault.size() - behind]), "");
      continue;
    }
    const CJson& axis = listed[i];
    axes[i].kind = KindOf(TextIn(axis.is_string() ? &axis : Member(axis, "name")), TextIn(Member(axis, "type")));
    axes[i].unit = TextIn(Member(axis, "unit"));
  }
  KeepOneOfEach(axes);
  NameLast(axes, EAxis::kX);
  NameLast(axes, EAxis::kY);
  Require(Has(axes, EAxis::kX) && Has(axes, EAxis::kY), "The picture has no axes in space");
  return axes;
}

void ApplyScales(const CJson* transformations, std::vector<SAxis>& axes) {
  for (const CJson& transformation : Elements(transformations)) {
    if (TextIn(Member(transformation, "type")) != "scale") continue;
    const std::vector<double> scales = NumbersIn(Member(transformation, "scale"));
    if (scales.size() != axes.size()) continue;
    for (std::size_t i = 0; i < axes.size(); ++i) {
      axes[i].scale = (axes[i].scale == 0.0 ? 1.0 : axes[i].scale) * scales[i];
    }
  }
}

}  // namespace imageformats::zarr
