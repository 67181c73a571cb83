#include "host/commands/history_records.h"

#include <algorithm>

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

std::vector<SRecordedFile> ReadRecordsByTime(CSession& session, const std::string& user, double from, double to) {
  if (user.empty()) return CBookkeepingRows(session.DatabasePath()).FindRecords(from, to);
  std::vector<SHistoryRecord> read = ReadHistory(session, CQvStringUtils::UTF8toW(user), from, to);
  std::sort(read.begin(), read.end(), [](const SHistoryRecord& a, const SHistoryRecord& b) {
    return a.time != b.time ? a.time < b.time : a.file < b.file;
  });
  std::vector<SRecordedFile> records;
  for (const SHistoryRecord& record : read) {
    records.push_back({CQvStringUtils::WtoUTF8(record.file).Str(), user, record.time, record.experiment});
  }
  return records;
}

CJson RecordJson(const SRecordedFile& record) {
  return {{"acquired", JsonTime(record.time)},
          {"user", record.user},
          {"experiment", record.experiment != 0 ? CJson(record.experiment) : CJson(nullptr)},
          {"file", record.file}};
}

CJson UserJson(const SHistoryUser& user) {
  return {
      {"user", user.name}, {"records", user.records}, {"first", JsonTime(user.first)}, {"last", JsonTime(user.last)}};
}

double FindEarliestAcquisition(CSession& session) {
  // This range asks for it.
  const std::vector<SHistoryRecord> records = ReadHistory(session, L"", -1.0, -1.0);
  return records.empty() ? 0.0 : records.front().time;
}

}  // namespace qvhost
