#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "host/rescue/page_file.h"
#include "host/rescue/row_writer.h"
#include "host/session/new_database.h"
#include "host/session/sqlite.h"

namespace qvhost {

// The new database that the rows of a damaged one go to.
class CRescuedDatabase {
 public:
  // Throws CHostError when something stands under the name, or a log beside it, which SQLite would take for the new
  // database's own.
  CRescuedDatabase(const std::string& name, const CPageFile& old);

  IRowSink& Rows() noexcept { return *m_writer; }
  // Records whose experiment is lost refer to none from now on: its number may be given to another one. Returns how
  // many there were.
  int ForgetLostExperiments();
  // Lets it appear under its name, as the old one was: its mark, its way of writing, its rights. Throws CHostError.
  void Commit();

 private:
  const CPageFile& m_old;
  CNewDatabase m_new;
  std::optional<SQLite::Database> m_db;
  std::optional<SQLite::Transaction> m_transaction;
  std::optional<CRowWriter> m_writer;
};

}  // namespace qvhost
