#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "system/qvstring.h"

namespace qvhost {

// Keeps the order of the fields as written.
using CJson = nlohmann::ordered_json;

// A platform text as a JSON value. Bytes of a file name that are no UTF-8 are shown as U+FFFD when printed.
inline std::string JsonText(const CQvStringW& text) { return CQvStringUtils::WtoUTF8(text).Str(); }

// Julian day number as ISO 8601, null when it names no time.
CJson JsonTime(double julianDay);

// One indented document to standard output.
void PrintJson(const CJson& document);

}  // namespace qvhost
