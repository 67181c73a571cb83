#pragma once

#include "tools/samples/context.h"

// One of many pictures of each kind; `number` selects the motif and makes the name.
void MakeElectronPicture(const SContext& context, int number);
void MakePhotograph(const SContext& context, int number);
void MakePlot(const SContext& context, int number);
void MakeCameraFrame(const SContext& context, int number);
