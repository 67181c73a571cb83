#include <sys/stat.h>

#include "gnr_thumbnailcache/base/shared_folder.h"

std::wstring GetSharedDocumentsFolder() {
  // Packages create it for a group; one made here belongs to whoever came first.
  mkdir("/var/lib/qvdocuments", 02775);
  return L"/var/lib/qvdocuments/";
}
