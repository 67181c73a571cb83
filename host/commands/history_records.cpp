#include "host/commands/history_records.h"

#include "host/session/diagnostics.h"

namespace qvhost {

std::vector<SHistoryRecord> ReadHistory(CSession& session, const CQvStringW& user, double from, double to) {
  std::vector<int> experiments;
  std::vector<double> times;
  std::vector<CQvStringW> files;
  RequireDone("the history cannot be read",
              [&] { return session.Service().ReadHistory(user.c_str(), from, to, &experiments, &times, &files); });
  files.resize(times.size());  // the earliest time comes without a file
  std::vector<SHistoryRecord> records;
  for (std::size_t i = 0; i < times.size(); ++i) records.push_back({times[i], experiments[i], files[i]});
  return records;
}

double FindEarliestAcquisition(CSession& session) {
  // This range asks for it.
  const std::vector<SHistoryRecord> records = ReadHistory(session, L"", -1.0, -1.0);
  return records.empty() ? 0.0 : records.front().time;
}

}  // namespace qvhost
