#pragma once

#include <string>

#include "host/output/json.h"
#include "host/session/session.h"

namespace qvpython {

// The books of the database, as the program prints them with --json. Each throws CHostError or SQLite::Exception when
// they cannot be read, and std::invalid_argument for what the caller said wrong.

// What was acquired with since <= time < until, by time; of a user, or of all users when `user` is empty. Times are
// texts in ISO 8601; empty ones set no limit.
qvhost::CJson ReadHistoryBook(qvhost::CSession& session, const std::string& user, const std::string& since,
                              const std::string& until);
qvhost::CJson ReadUsers(qvhost::CSession& session);
qvhost::CJson ReadExperiments(qvhost::CSession& session);
// Records that the user acquired the file, whose absolute path it is, and tells what was recorded; `experiment` 0: the
// image's own. Throws CFileError when it was not.
qvhost::CJson RecordFile(qvhost::CSession& session, const std::string& path, const std::string& user,
                         const std::string& time, int experiment);
// Null when there is none of that number.
qvhost::CJson ReadExperiment(qvhost::CSession& session, int id);

}  // namespace qvpython
