#pragma once

#include <optional>
#include <string>
#include <vector>

namespace qvhost {

// Folders that are pictures, or hold pictures in an order that they describe (OME-Zarr).

// The pictures that such a folder stands for: itself, when it is a picture or a well, which shows its first field; the
// wells of a plate; the series of a converted file; the label pictures of a folder of them. Nothing: an ordinary
// folder. Paths begin with `folder`, as it was given.
std::optional<std::vector<std::string>> PicturesOfFolder(const std::string& folder);

struct SWell {
  std::string row, column;  // "B", "3"
  std::string folder;       // a picture: the well's first field
};

// The wells that a plate's folder lists, in its order; none for any other folder.
std::vector<SWell> ListWells(const std::string& plate);

// The folder of a picture that is named by the file that describes it (x.zarr/zarr.json); any other path as it stands.
std::string PicturePath(const std::string& path);

}  // namespace qvhost
