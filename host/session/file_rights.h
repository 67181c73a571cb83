#pragma once

#include <sys/stat.h>

namespace qvhost {

// For a new file of this user that holds what another one does, `model`, and is for whoever may use that one, and
// nobody else. Gives it the other's group, and returns the rights to give it, of which the owner always has reading and
// writing. Where it cannot have that group, it is for the owner and for those of all others whom their group does not
// keep from it.
mode_t ShareLike(const struct stat& model, int file);

}  // namespace qvhost
