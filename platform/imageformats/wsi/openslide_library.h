#pragma once

namespace imageformats {

// Loads OpenSlide, which otherwise happens when it is first asked: for those who can open no file later. False where it
// is not there; then no file is a slide. Thread-safe.
bool LoadOpenSlide() noexcept;

}  // namespace imageformats
