#pragma once

#include <string>

#include "host/output/json.h"
#include "host/session/bookkeeping_rows.h"
#include "host/session/session.h"

namespace qvhost {

// What a record without an experiment refers to; SQLite numbers experiments from 1.
constexpr int kNoExperiment = 0;

// One acquisition on its way into the history.
struct SAcquisition {
  std::string path;   // absolute
  double time = 0.0;  // Julian day number; 0: as recorded before, else as the image says, else the file's date
  const char* timeSource = "";     // where the time comes from
  int experiment = kNoExperiment;  // a stored one; kNoExperiment: the image's own
};

// Records it for the user, and fills in what it says nothing of. A file that is recorded already keeps its experiment.
// False with the reason when nothing was recorded. Throws CHostError for what every other record would meet as well.
bool RecordAcquisition(CSession& session, const CBookkeepingRows& rows, const std::string& user,
                       SAcquisition* acquisition, std::string* reason);

CJson AcquisitionJson(const SAcquisition& acquisition);

}  // namespace qvhost
