#include "host/session/file_rights.h"

#include <unistd.h>

namespace qvhost {
namespace {

constexpr mode_t kOwnersRights = 0600, kGroupsRights = 0060, kOthersRights = 0006;

}  // namespace

mode_t ShareLike(const struct stat& model, int file) {
  const mode_t group = model.st_mode & kGroupsRights, others = model.st_mode & kOthersRights;
  if (fchown(file, static_cast<uid_t>(-1), model.st_gid) == 0) return kOwnersRights | group | others;
  return kOwnersRights | (others & group >> 3);
}

}  // namespace qvhost
