#include "python/src/books.h"

#include <limits>
#include <optional>
#include <stdexcept>

#include "host/commands/acquisition.h"
#include "host/commands/experiment_records.h"
#include "host/commands/history_records.h"
#include "host/files/image_file.h"
#include "host/output/time_text.h"
#include "host/session/bookkeeping_rows.h"
#include "python/src/file_failure.h"

namespace qvpython {
namespace {

double TimeOr(const std::string& text, double otherwise) {
  if (text.empty()) return otherwise;
  const std::optional<double> time = qvhost::ParseTimeText(text);
  if (!time) throw std::invalid_argument("'" + text + "' is no time; give one as in 2024-05-01 or 2024-05-01T14:30");
  return *time;
}

}  // namespace

qvhost::CJson ReadHistoryBook(qvhost::CSession& session, const std::string& user, const std::string& since,
                              const std::string& until) {
  constexpr double kAlways = std::numeric_limits<double>::max();
  qvhost::CJson list = qvhost::CJson::array();
  for (const qvhost::SRecordedFile& record :
       qvhost::ReadRecordsByTime(session, user, TimeOr(since, 0.0), TimeOr(until, kAlways))) {
    list.push_back(qvhost::RecordJson(record));
  }
  return list;
}

qvhost::CJson RecordFile(qvhost::CSession& session, const std::string& path, const std::string& user,
                         const std::string& time, int experiment) {
  const qvhost::CBookkeepingRows rows(session.DatabasePath());
  if (experiment != qvhost::kNoExperiment && !rows.HasExperiment(experiment)) {
    throw std::invalid_argument("there is no experiment " + std::to_string(experiment));
  }
  qvhost::SAcquisition acquisition{qvhost::AbsolutePath(path), TimeOr(time, 0.0), "", experiment};
  std::string reason = qvhost::ExplainOpenFailure(acquisition.path);
  if (!reason.empty()) throw CFileError({EFailure::Unreadable, reason});
  if (qvhost::RecordAcquisition(session, rows, user, &acquisition, &reason))
    return qvhost::AcquisitionJson(acquisition);
  throw CFileError({EFailure::Other, reason});
}

qvhost::CJson ReadUsers(qvhost::CSession& session) {
  qvhost::CJson list = qvhost::CJson::array();
  for (const qvhost::SHistoryUser& user : qvhost::CBookkeepingRows(session.DatabasePath()).Users()) {
    list.push_back(qvhost::UserJson(user));
  }
  return list;
}

qvhost::CJson ReadExperiments(qvhost::CSession& session) {
  qvhost::CJson list = qvhost::CJson::array();
  for (const int id : qvhost::CBookkeepingRows(session.DatabasePath()).ExperimentIDs()) {
    const qvhost::SExperimentRecord stored(session.Service(), id);
    if (stored.experiment) list.push_back(stored.Summary(id));
  }
  return list;
}

qvhost::CJson ReadExperiment(qvhost::CSession& session, int id) {
  const qvhost::SExperimentRecord stored(session.Service(), id);
  return stored.experiment ? stored.Json(id) : qvhost::CJson(nullptr);
}

}  // namespace qvpython
