#pragma once

#include <vector>

#include "host/session/session.h"

namespace qvhost {

// One acquisition of a user.
struct SHistoryRecord {
  double time = 0.0;  // Julian day number
  int experiment = 0;
  CQvStringW file;
};

// Those with from <= time < to, in no particular order. Throws CHostError.
std::vector<SHistoryRecord> ReadHistory(CSession& session, const CQvStringW& user, double from, double to);

// The earliest time of all users; 0 when there is no history. Throws CHostError.
double FindEarliestAcquisition(CSession& session);

}  // namespace qvhost
