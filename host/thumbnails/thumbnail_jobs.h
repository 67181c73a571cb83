#pragma once

#include <cstdint>
#include <string>

#include "picture/qvpicbuf.h"
#include "system/qvthumbnaildescription.h"

namespace qvhost {

// One wanted thumbnail.
struct SThumbnailJob {
  std::string name;  // for people
  SQvThumbnailDescription description;
};

// Where the wanted thumbnails come from: files, or the records of a library. Called on the main thread.
class IThumbnailJobs {
 public:
  enum class ENext { Job, Cached, Failed, Later, End };
  enum class ERefresh { Same, Changed, Gone };

  virtual ~IThumbnailJobs() = default;
  virtual std::int64_t Count() const = 0;
  // The next job. Cached: only its name is filled; the database holds the thumbnail as a viewer would show it. Failed:
  // only its name is filled, and the reason. Later: none is there now; whoever has one wakes the session's Finished().
  virtual ENext Next(SThumbnailJob* job, std::string* reason) = 0;
  // Updates the description with the source's present modification time. Gone: with the reason.
  virtual ERefresh Refresh(SThumbnailJob* job, std::string* reason) = 0;
  // Whether the database holds the thumbnail as a viewer would show it.
  virtual bool IsCached(const SThumbnailJob& job) = 0;
  // Whether thumbnails of these sources go to the database at all.
  virtual bool ArePersistent() const = 0;
  // Why the service could not make it.
  virtual std::string ExplainFailure(const SThumbnailJob& job) = 0;
};

// Told of every job exactly once, on the main thread, unless the work was interrupted.
class IThumbnailObserver {
 public:
  virtual ~IThumbnailObserver() = default;
  // The pixels are valid during the call. They are missing (data null) when the thumbnail was found in the database and
  // the picture was not asked for.
  virtual void OnThumbnail(const SThumbnailJob& job, bool made, const SQvPicBuf& picture) = 0;
  virtual void OnFailed(const std::string& name, const std::string& reason) = 0;
};

}  // namespace qvhost
