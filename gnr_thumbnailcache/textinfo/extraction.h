#pragma once

#include "gnr_thumbnailcache/database/text_information.h"
#include "imageformats/iqvimageformatmanager.h"
#include "system/qvstatus.h"
#include "system/qvstring.h"

// Reads a file's text information through the image-format manager. False when the file cannot be opened or does not
// give its geometry; `info` is then untouched but for the file size, or, without geometry, reset.
bool ExtractFileTextInfo(const CQvStringW& path, STextInformation& info);

// The same from an opened file's reader; leaves the file size alone. False when there is no geometry, `info` then being
// reset.
bool FillTextInformation(IQvMetadataReader& reader, STextInformation& info);
