#pragma once

#include <cstdint>
#include <ctime>
#include <string>

// Pictures that are folders (OME-Zarr). Folders are descriptors opened for reading.

// What a picture's file says by its last-write time and size, of a folder: the newest time and the sum of the sizes of
// what a thumbnail is made from, as far as it is known without reading it.
struct SPictureFolderState {
  timespec newest{};
  std::int64_t size = 0;
};

// Whether it is a folder that holds one of kQvPictureDocuments.
bool IsPictureFolder(int folder) noexcept;
// False, *state untouched, when it is not such a folder.
//
// Looked at are, in this order and not more than 2,000: the descriptions of the folder; when it holds arrays, those
// from the last in the order of names (the coarsest level) to the first, each with its folders before what lies in
// them; else the folder below it that comes first in the order of names, in the same way (a plate's first well, a
// well's first field). Numbers in names count as numbers. Labels are left out.
bool ReadPictureFolder(int folder, SPictureFolderState* state) noexcept;

// Whether the path ends in a file's name that stands for the folder that it lies in.
bool IsDocumentName(const std::string& path) noexcept;
// The folder of such a path.
std::string FolderOfDocument(const std::string& path);
