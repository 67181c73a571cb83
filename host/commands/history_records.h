#pragma once

#include <string>
#include <vector>

#include "host/output/json.h"
#include "host/session/bookkeeping_rows.h"
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

// The same by time, of a user, or of all users when `user` is empty.
std::vector<SRecordedFile> ReadRecordsByTime(CSession& session, const std::string& user, double from, double to);

CJson RecordJson(const SRecordedFile& record);
CJson UserJson(const SHistoryUser& user);

// The earliest time of all users; 0 when there is no history. Throws CHostError.
double FindEarliestAcquisition(CSession& session);

}  // namespace qvhost
