#pragma once

#include <string>
#include <vector>

#include "host/files/text_info.h"
#include "host/output/json.h"

namespace qvhost {

// What the page of a gallery is told of one picture; cards.js says what it does with the fields.

// A card without facts: its place, and why there is no picture when `reason` is not empty.
CJson CardOf(const std::string& path, const std::string& reason);
// Adds what the file says about itself: facts to choose by, lines for the card and, with `full`, for the larger view.
void AddFacts(const STextInfo& info, bool full, CJson* card);

// The lines of a card, those that matter most to somebody who looks for an image first.
std::vector<std::string> BriefLines(const STextInfo& info);
// When it was acquired, as the file writes it: on the clock that it was taken by, so that no zone is made up.
std::string WrittenTime(const STextInfo& info);
// Three digits, in the unit that reads best: "135 µm", "0.325 µm", "10 mm".
std::string ShortLength(double micrometres);

// Text of a script element: nothing in it ends the element. Invalid UTF-8 becomes U+FFFD.
std::string ScriptJson(const CJson& document);

}  // namespace qvhost
