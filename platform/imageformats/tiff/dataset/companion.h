#pragma once

#include <memory>
#include <string>

#include "platform/imageformats/tiff/directory/file_set.h"

namespace imageformats::tiff {

// Whether the content is an OME-XML document by itself: the companion of a set of TIFF files.
bool IsCompanion(const CInput& input) noexcept;

// The text of a document that lies in a file of its own; empty when it is larger than any that is read.
std::string CompanionText(const CInput& input);

// The files of an opened one: a TIFF file, or a companion, whose first file that is there then stands for the set.
// Throws CDamagedError when it is neither, or none of a companion's files is there; CUnsupportedError when it names
// none.
CFileSet OpenFileSet(std::shared_ptr<const CInput> input);

}  // namespace imageformats::tiff
