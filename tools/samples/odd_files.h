#pragma once

#include "tools/samples/context.h"

// Files with thumbnails of their own in the two private tags. The thumbnail has an amber frame that the picture lacks,
// so that it shows which of them a program took.
void MakeEmbeddedThumbnails(const SContext& context);
// Names that try a program's file handling: capitals, many scripts, combining marks, bytes that are no UTF-8.
void MakeUnusualNames(const SContext& context);
// Files that a program must not stumble over: cut, empty, mislabelled, corrupted, endless. Only what lies behind a
// sound first picture is damaged in the looping one and the stack; all others must be refused. Reads the time series.
void MakeDamagedFiles(const SContext& context);
