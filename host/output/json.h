#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "system/qvstring.h"

namespace qvhost {

// Keeps the order of the fields as written.
using CJson = nlohmann::ordered_json;

// A platform text as a JSON value.
inline std::string JsonText(const CQvStringW& text) { return CQvStringUtils::WtoUTF8(text).Str(); }

// Julian day number as ISO 8601, null when it names no time.
CJson JsonTime(double julianDay);

// One indented document. In a name that is no UTF-8 the bytes that are not stand as \xNN, as CCommand's file names may
// be given.
std::string FormatJson(CJson document);
// The same to standard output.
void PrintJson(CJson document);

}  // namespace qvhost
