#pragma once

#include <string>

// Finds names on a case-sensitive file system without regard to case. Safe from any thread.

// True when an error of a file call leaves room for the file to exist under a differently cased name.
bool MayExistInAnotherCase(int error) noexcept;

// Rewrites a native path to the name under which it really exists: component by component, the exact name first, then
// the names that equal it without regard to case (CQvStringUtils::EqualNoCase), in byte order; a component whose
// continuation does not exist gives way to the next match. In a folder that keeps changing, a name that came a moment
// ago and would have come first may be passed over for another one that is there as well. False, and *path unchanged,
// when nothing matches. In a folder that may not be listed, and behind the first million names of one, exact names only
// are found.
bool ResolveIgnoringCase(std::string* path);
