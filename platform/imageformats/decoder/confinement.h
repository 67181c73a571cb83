#pragma once

namespace imageformats {

// What a decoder gives up before it looks at a file: opening, creating and changing files, the network, starting
// programs, memory beyond kMostMemory. `folder`: a descriptor of the only folder below which files may be opened to be
// read; -1: none at all. False when the process could not be confined; only folders are left to the kernel's means:
// where it has no Landlock, a decoder of slides may read what the user may read.
bool Confine(int folder);

}  // namespace imageformats
