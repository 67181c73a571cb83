#pragma once

#include <string>
#include <utility>
#include <vector>

#include "host/files/name_filter.h"

namespace qvhost {

// What the paths of a command line lead to.
struct SFoundFiles {
  std::vector<std::string> files;                             // as typed, or the typed folder and the name in it
  std::vector<std::pair<std::string, std::string>> problems;  // a path that leads nowhere, and why
};

// Finds image files. A file that is named is taken whatever its name: its content decides. From a folder those with an
// image's extension are taken, sorted by name, and with `recursive` those of the folders below; hidden names and links
// to folders are left alone. A folder that is a picture is taken as one, or as those that it stands for
// (PicturesOfFolder), and not walked into. A file that several paths lead to is taken once. Files and folders that
// `filter` excludes are left out, but for a folder that is named. Throws CHostError when interrupted.
SFoundFiles FindImageFiles(const std::vector<std::string>& paths, bool recursive, const CNameFilter& filter = {});

// What lies in one folder, by its path: the pictures that FindImageFiles would take from it, and the folders that it
// would walk into, in no particular order.
struct SFolderContent {
  std::vector<std::string> files, folders;
  std::vector<std::string> links;  // further files, which are links
  std::string problem;             // why not all of it could be read; empty: all was
};
SFolderContent ListImageFolder(const std::string& folder);

// Whether a file or a folder that is a picture would be taken from a folder, by its name and its first bytes.
bool HasImageName(const std::string& path);

}  // namespace qvhost
