#include "host/output/json.h"

#include <fmt/format.h>

#include <cstdio>
#include <utility>

#include "host/output/text.h"
#include "host/output/time_text.h"

namespace qvhost {
namespace {

void EscapeNames(CJson* value) {
  if (value->is_string()) *value = EscapeInvalidUtf8(value->get<std::string>());
  if (!value->is_structured()) return;
  for (CJson& inner : *value) EscapeNames(&inner);
}

// JSON itself asks only for the controls below the blank to be escaped.
std::string WithoutControls(const std::string& json) {
  std::string safe;
  for (std::size_t i = 0; i < json.size(); ++i) {
    const auto byte = static_cast<unsigned char>(json[i]);
    const unsigned next = i + 1 < json.size() ? static_cast<unsigned char>(json[i + 1]) : 0u;
    if (byte == 0x7F) {
      safe += "\\u007f";
    } else if (byte == 0xC2 && next >= 0x80 && next <= 0x9F) {
      safe += fmt::format("\\u{:04x}", next);
      ++i;
    } else {
      safe += json[i];
    }
  }
  return safe;
}

}  // namespace

CJson JsonTime(double julianDay) {
  const std::string text = FormatIsoTime(julianDay);
  return text.empty() ? CJson(nullptr) : CJson(text);
}

std::string FormatJson(CJson document) {
  EscapeNames(&document);
  return WithoutControls(document.dump(2));
}

void PrintJson(CJson document) { std::printf("%s\n", FormatJson(std::move(document)).c_str()); }

}  // namespace qvhost
