#include <sys/stat.h>

#include "gnr_thumbnailcache/base/shared_folder.h"

std::wstring GetSharedDocumentsFolder() {
  // Packages create it for a group; one made here belongs to the group of whoever came first. mkdir knows no setgid
  // bit.
  constexpr const char* kFolder = "/var/lib/qvdocuments";
  if (mkdir(kFolder, 0770) == 0) chmod(kFolder, 02770);
  return L"/var/lib/qvdocuments/";
}
