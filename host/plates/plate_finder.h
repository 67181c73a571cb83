#pragma once

#include <string>
#include <vector>

#include "host/plates/plate.h"

namespace qvhost {

// How sure a group of files must be to be taken for a plate.
enum class EPlateEvidence {
  Asked,  // the user says that they are one: a single name that may be a well's is enough
  // At least two of the files say so themselves, or are named "Well A01" or "r01c01", or they fill rows and columns.
  // Wells that have no file of their own among the files are left out.
  Obvious
};

struct SFoundPlates {
  std::vector<SPlateLayout> plates;
  std::vector<std::string> others;  // files that belong to none, as given, in their order
};

// Finds the plates that files make up: by what files say about the plate that they belong to (which may name further
// files), else by names of wells in the names of the files of one folder, or of the folders that they lie in. Of
// several pictures of a well the first in the order given is taken. Throws CHostError when interrupted.
SFoundPlates FindPlates(const std::vector<std::string>& files, EPlateEvidence evidence);

}  // namespace qvhost
