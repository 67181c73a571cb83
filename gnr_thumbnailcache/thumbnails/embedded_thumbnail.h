#pragma once

#include "imageformats/iqvimageformatmanager.h"
#include "metadata/qvimageinfo.h"
#include "picture/qvpicbuf.h"

// Fills `picture`, which has its shape, from a thumbnail that the file carries: a JPEG stream, or, only where there is
// no such stream, raw pixels of the size of the file's picture, which `info` describes. False when there is none that
// can be used.
bool StretchEmbeddedThumbnail(IQvPictureSource& source, IQvImageFormatManager& manager, const SQvImageInfo& info,
                              SQvPicBuf* picture);
