#include "host/session/prepared_database.h"

#include <fmt/format.h>
#include <sqlite3.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>

#include "host/host_error.h"
#include "host/session/database_error.h"
#include "host/session/database_files.h"
#include "host/session/database_form.h"
#include "host/session/sqlite.h"
#include "host/session/view_mark.h"

namespace qvhost {
namespace {

namespace fs = std::filesystem;

std::string FolderOf(const std::string& path) { return fs::path(path).parent_path().string(); }

bool Exists(const std::string& path) {
  std::error_code error;
  return fs::status(path, error).type() != fs::file_type::not_found;
}

bool IsReadable(const std::string& path) { return access(path.c_str(), R_OK) == 0; }
bool IsWritable(const std::string& path) { return access(path.c_str(), W_OK) == 0; }

void SetWriteAheadMode(const std::string& path, int flags) {
  SQLite::Database db = OpenConnection(path, flags);
  // A file system without shared memory keeps the rollback journal, which serves as well, only slower.
  db.exec("PRAGMA journal_mode=WAL");
}

[[noreturn]] void RefuseForeign(const SDatabaseChoice& choice, const std::string& mark) {
  throw CHostError(fmt::format("{} is another program's database ({}); choose another --db FILE", choice.path, mark));
}

[[noreturn]] void RefuseNoDatabase(const SDatabaseChoice& choice, const char* said) {
  const bool named = !choice.isDefault && !choice.allUsers;
  throw CHostError(ExplainFailedOpen(
      choice,
      std::string(said) + (named ? "; choose another --db FILE, or, if it was a database, see what 'qvthumbs rescue' "
                                   "can read of it"
                                 : "; see what 'qvthumbs rescue' can read of it, and move it away: a new one is "
                                   "made")));
}

}  // namespace

CPreparedDatabase::CPreparedDatabase(const SDatabaseChoice& choice, EDatabaseNeed need) : m_choice(choice) {
  SetDatabaseInUse(choice.path);
  const bool keeps = choice.isDefault || choice.allUsers;
  if (keeps) SecureDatabaseFiles(choice);
  if (!Exists(choice.path)) {
    if (need == EDatabaseNeed::Look || need == EDatabaseNeed::Change) {
      throw CHostError(fmt::format("there is no database {} yet; 'qvthumbs make' creates it", choice.path));
    }
    Create();
  }
  CopyIfNotWritable(need);
  try {
    Look(need == EDatabaseNeed::Fill || need == EDatabaseNeed::Change);
    if (m_choice.view) {
      MarkNewDatabase(Path(), ViewMark(*m_choice.view));
      RequireView();
    }
  } catch (const SQLite::Exception& error) {
    if (error.getErrorCode() == SQLITE_NOTADB) RefuseNoDatabase(choice, error.what());
    throw;
  }
}

void CPreparedDatabase::Create() {
  if (m_choice.isDefault || m_choice.allUsers) {
    try {
      CreateDatabaseFiles(m_choice);
    } catch (const CHostError& error) {
      throw CHostError(ExplainFailedOpen(m_choice, error.what()));
    }
    if (m_choice.isDefault) SetWriteAheadMode(m_choice.path, SQLite::OPEN_READWRITE);
    return;
  }
  std::error_code error;
  if (!fs::is_directory(FolderOf(m_choice.path), error)) {
    throw CHostError(fmt::format("the folder {} does not exist; create it first, or choose another --db FILE",
                                 FolderOf(m_choice.path)));
  }
  SetWriteAheadMode(m_choice.path, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
}

void CPreparedDatabase::CopyIfNotWritable(EDatabaseNeed need) {
  const std::string path = RealDatabasePath(m_choice.path), folder = FolderOf(path);
  std::error_code error;
  if (!fs::is_regular_file(path, error)) return;  // SQLite says what is wrong
  if (IsWritable(path) && IsWritable(folder)) return;
  if (!IsReadable(path)) throw CHostError(ExplainFailedOpen(m_choice, "permission denied"));
  if (need == EDatabaseNeed::Fill || need == EDatabaseNeed::Share || need == EDatabaseNeed::Change) {
    throw CHostError(ExplainFailedOpen(m_choice, fmt::format("{} may not be written to; choose another --db FILE",
                                                             IsWritable(folder) ? "it" : "the folder " + folder)));
  }
  m_copy = std::make_unique<CDatabaseCopy>(path);
  if (need == EDatabaseNeed::Use) {
    std::fprintf(stderr, "qvthumbs: %s may only be read; what is made now is not kept\n", m_choice.path.c_str());
  }
}

void CPreparedDatabase::Look(bool forWriting) const {
  SQLite::Database db = OpenForReading(Path());
  if (const std::string mark = FindForeignForm(db); !mark.empty()) RefuseForeign(m_choice, mark);
  if (!forWriting) return;
  // Whoever writes now is waited for here, once, and not at every row.
  db.exec("PRAGMA query_only=OFF");
  db.exec("BEGIN IMMEDIATE");
  db.exec("ROLLBACK");
}

void CPreparedDatabase::RequireView() const {
  if (!m_choice.view) return;
  const std::int32_t mark = ReadViewMark(OpenForReading(Path()));
  if (mark == ViewMark(*m_choice.view)) return;
  throw CHostError(
      fmt::format("the thumbnails in {} were made with {} --planes, --time, --position, --channels and "
                  "--stretch-together; give the "
                  "same, or choose another --db FILE",
                  m_choice.path, mark == 0 ? "the default" : "other"));
}

std::string ExplainFailedOpen(const SDatabaseChoice& choice, const std::string& reason) {
  std::string text = fmt::format("cannot open the database {}: {}", choice.path,
                                 reason.empty() ? std::string("the service gave no reason") : reason);
  const std::string folder = FolderOf(choice.path);
  if (choice.allUsers && (!IsWritable(folder) || (Exists(choice.path) && !IsWritable(choice.path)))) {
    text += fmt::format(
        "\nThe shared folder and the database in it must be writable for you. Ask an administrator to add you to "
        "their\n"
        "group, or to make them writable for a GROUP that you belong to:\n"
        "  install -d -m 2770 -g GROUP {0}\n"
        "  touch {1} && chgrp GROUP {1} && chmod 0660 {1}\n"
        "Or leave --all-users away to use a database of your own.",
        folder, choice.path);
  }
  return text;
}

}  // namespace qvhost
