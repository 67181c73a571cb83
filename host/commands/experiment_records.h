#pragma once

#include <string>

#include "host/files/image_experiment.h"
#include "host/output/json.h"
#include "host/session/session.h"

namespace qvhost {

// A stored experiment.
struct SExperimentRecord {
  CExperimentPtr experiment;  // null: there is none of that number
  SQvPicturePlanes planes;
  double time = 0.0;  // Julian day number, 0 unknown

  SExperimentRecord(IQvThumbnailCache& service, int id);

  // In a list, and with all its loops; of one that is there.
  CJson Summary(int id) const;
  CJson Json(int id) const;
};

// Stores an image's experiment, or refreshes the equal one that is stored; *id receives its number. A time that is
// known is never replaced by one that is not. `storedID` is the stored item that it belongs to, -1 for none. False with
// the reason when the database did not take it.
bool StoreExperiment(CSession& session, const SImageExperiment& image, double time, int storedID, int* id,
                     std::string* reason);

}  // namespace qvhost
