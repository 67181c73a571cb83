#include "platform/imageformats/zarr/array/json_text.h"

#include <cmath>

#include "platform/imageformats/base/format_error.h"

namespace imageformats::zarr {

namespace {

constexpr char kDamagedDescription[] = "The picture's description is damaged";

}  // namespace

CJson ParseJson(std::string_view text) {
  bool isTooDeep = false;
  const auto limit = [&](int depth, CJson::parse_event_t, const CJson&) {
    isTooDeep = isTooDeep || depth > kMostJsonDepth;
    return !isTooDeep;
  };
  CJson parsed = CJson::parse(text.begin(), text.end(), limit, false);
  Require(!parsed.is_discarded() && !isTooDeep, kDamagedDescription);
  return parsed;
}

const CJson* Member(const CJson& object, const char* name) noexcept {
  if (!object.is_object()) return nullptr;
  const auto found = object.find(name);
  return found == object.end() ? nullptr : &*found;
}

const CJson* Member(const CJson* object, const char* name) noexcept {
  return object == nullptr ? nullptr : Member(*object, name);
}

const std::vector<CJson>& Elements(const CJson* list) noexcept {
  static const std::vector<CJson> none;
  return list != nullptr && list->is_array() ? *list->get_ptr<const CJson::array_t*>() : none;
}

std::string TextIn(const CJson* value) {
  return value != nullptr && value->is_string() ? *value->get_ptr<const CJson::string_t*>() : std::string();
}

std::optional<double> NumberIn(const CJson* value) noexcept {
  if (value == nullptr || !value->is_number()) return std::nullopt;
  const auto number = value->get<double>();
  if (!std::isfinite(number)) return std::nullopt;
  return number;
}

std::vector<double> NumbersIn(const CJson* list) {
  std::vector<double> numbers;
  for (const CJson& element : Elements(list)) numbers.push_back(NumberIn(&element).value_or(0.0));
  return numbers;
}

std::optional<std::vector<std::uint64_t>> SizesIn(const CJson* list) {
  if (list == nullptr || !list->is_array()) return std::nullopt;
  std::vector<std::uint64_t> sizes;
  for (const CJson& element : Elements(list)) {
    if (!element.is_number_unsigned()) return std::nullopt;
    sizes.push_back(element.get<std::uint64_t>());
  }
  return sizes;
}

}  // namespace imageformats::zarr
