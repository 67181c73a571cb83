#pragma once

#include <cstdint>
#include <memory>
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
  std::string larger;  // a JPEG stream that the view loads, in a gallery with its pictures apart; empty: there is none
  STextInfo info;
  bool hasInfo = false;
};

// Of this many pictures a page that holds them all itself is still quick.
constexpr std::int64_t kMaxPicturesInPage = 5000;

// Where a gallery is to go. Throws CHostError when that cannot be; a file is replaced only when it is such a page.
COutputTarget GalleryTarget(const std::string& name);
// The same for a folder, which is made when it is missing: the page in it, and beside it a folder of its pictures. One
// that has pictures but no such page is not this program's.
COutputTarget GalleryFolderTarget(const std::string& folder);

// Writes a gallery: as one HTML file that needs nothing else, where the thumbnails lie in it, or with its pictures in
// files of their own below the page's folder. It is written entry by entry, so its size does not matter. The page
// appears with Finish.
class CGalleryPage {
 public:
  CGalleryPage(const COutputTarget& target, const std::string& title, bool picturesApart);
  void Add(const SGalleryEntry& entry);
  // A plate as a grid of its wells; `entries` are those of its wells, in their order.
  void AddPlate(const SPlateLayout& plate, const std::vector<SGalleryEntry>& entries);
  void Finish();

 private:
  void Write(CJson card, const SGalleryEntry& entry);
  // Its name as the page's folder sees it.
  std::string WritePictureFile(const std::string& jpeg, const char* tail) const;

  COutputFile m_file;
  const std::string m_folder;  // of the pictures; empty: they lie in the page
  std::int64_t m_pictures = 0;
};

// The page of a folder that a server shows. `title` is a text for people.
std::string LivePage(const std::string& title);

}  // namespace qvhost
