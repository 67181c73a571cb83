#include "python/src/file_failure.h"

#include "host/files/image_file.h"
#include "host/files/picture_folder.h"

namespace qvpython {

SFailure ExplainFile(const std::string& path, const CQvStringW& location, qvhost::CFailureReason& reason) {
  std::string said = qvhost::ExplainOpenFailure(qvhost::AbsolutePath(qvhost::PicturePath(path)));
  if (!said.empty()) return {EFailure::Unreadable, std::move(said)};
  said = reason.OfFile(location);
  return {reason.IsUnsupported() ? EFailure::Unsupported : EFailure::Damaged, std::move(said)};
}

}  // namespace qvpython
