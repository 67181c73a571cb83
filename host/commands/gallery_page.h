#pragma once

#include <string>
#include <vector>

#include "host/files/text_info.h"
#include "host/output/output_file.h"
#include "host/plates/plate.h"

namespace qvhost {

// One picture of a gallery.
struct SGalleryEntry {
  std::string path;    // absolute, real name
  std::string jpeg;    // empty: there is no thumbnail
  std::string reason;  // why there is none
  STextInfo info;
  bool hasInfo = false;
};

// Where a gallery is to go. Throws CHostError when that cannot be; a file is replaced only when it is such a page.
COutputTarget GalleryTarget(const std::string& name);

// Writes a gallery as one HTML file that needs nothing else: the thumbnails lie in it. It is written entry by entry, so
// its size does not matter. Entries of one folder should follow each other. The file appears with Finish.
class CGalleryPage {
 public:
  CGalleryPage(const COutputTarget& target, const std::string& title);
  void Add(const SGalleryEntry& entry);
  // A plate as a grid of its wells; `entries` are those of its wells, in their order.
  void AddPlate(const SPlateLayout& plate, const std::vector<SGalleryEntry>& entries);
  void Finish();

 private:
  void BeginFolder(const std::string& folder);
  void EndSection();

  COutputFile m_file;
  std::string m_folder;
  bool m_inFolder = false;
};

}  // namespace qvhost
