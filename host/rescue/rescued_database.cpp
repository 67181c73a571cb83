#include "host/rescue/rescued_database.h"

#include <fmt/format.h>

#include <filesystem>

#include "host/host_error.h"
#include "host/output/text.h"
#include "host/session/database_error.h"
#include "host/session/database_stamp.h"
#include "host/session/session.h"

namespace qvhost {
namespace {

const std::string& RequireNoLog(const std::string& name) {
  for (const char* tail : kDatabaseTails) {
    std::error_code error;
    const std::string path = name + tail;
    if (!std::filesystem::exists(std::filesystem::symlink_status(path, error))) continue;
    throw CHostError(fmt::format("{} is there already; choose a new name, or move it away", Printable(path)));
  }
  return name;
}

}  // namespace

CRescuedDatabase::CRescuedDatabase(const std::string& name, const CPageFile& old)
    : m_old(old), m_new(RequireNoLog(name), "choose a new name") {
  {
    CSession session;  // the service makes the tables
    session.Open({m_new.FilePath(), false, {}}, EDatabaseNeed::Fill);
  }
  SetDatabaseInUse(m_new.Name());
  m_db.emplace(OpenConnection(m_new.FilePath(), SQLite::OPEN_READWRITE));
  // Nobody else sees it yet, and half of it is thrown away.
  m_db->exec(
      "PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF; PRAGMA locking_mode=EXCLUSIVE; PRAGMA cache_size=-65536");
  m_transaction.emplace(*m_db);
  m_writer.emplace(*m_db);
}

int CRescuedDatabase::ForgetLostExperiments() {
  return m_db->exec(
      "UPDATE history SET experimentID = 0 WHERE experimentID <> 0 AND NOT EXISTS "
      "(SELECT 1 FROM experiments WHERE experiments.experimentID = history.experimentID)");
}

void CRescuedDatabase::Commit() {
  const SDatabaseHeader& header = m_old.Header();
  m_db->exec(fmt::format("PRAGMA user_version = {}", header.userVersion));
  m_writer.reset();
  m_transaction->commit();
  m_transaction.reset();
  m_db->exec(header.isWriteAhead ? "PRAGMA locking_mode=NORMAL; PRAGMA journal_mode=WAL"
                                 : "PRAGMA locking_mode=NORMAL; PRAGMA journal_mode=DELETE");
  m_db.reset();
  m_new.CommitLike(m_old.Status());
}

}  // namespace qvhost
