#pragma once

#include <memory>
#include <string>

#include "host/session/database_choice.h"
#include "host/session/database_copy.h"

namespace qvhost {

// What a command wants to do with the database.
enum class EDatabaseNeed {
  Look,    // read what is there
  Use,     // read, and keep what is new if that can be; made when missing
  Fill,    // write to it; made when missing
  Share,   // the same beside the process of this program that has it open
  Change,  // write to one that is there
};

// A database file that was looked at and that the service may be let loose on, because it re-creates tables whose
// columns it does not know: one that is not this program's is refused. A missing one is created empty, in write-ahead
// mode unless all users share it (each new thumbnail then costs two disk syncs instead of eight). One that may only be
// read is read from a copy. A file is marked with the view of its thumbnails while it has no tables yet. Waits for
// other programs that hold it locked.
class CPreparedDatabase {
 public:
  // Throws CHostError with the reason and what to do, or SQLite::Exception when the file cannot be read.
  CPreparedDatabase(const SDatabaseChoice& choice, EDatabaseNeed need);

  // The file to open: the chosen one, or its copy.
  const std::string& Path() const noexcept { return m_copy ? m_copy->Path() : m_choice.path; }
  bool IsCopy() const noexcept { return m_copy != nullptr; }
  const SDatabaseChoice& Choice() const noexcept { return m_choice; }

  // Throws CHostError when the thumbnails in the file were made with another view than the chosen one. Once the file
  // has its tables the answer does not change.
  void RequireView() const;

 private:
  void Create();
  void CopyIfNotWritable(EDatabaseNeed need);
  void Look(bool forWriting) const;

  SDatabaseChoice m_choice;
  std::unique_ptr<CDatabaseCopy> m_copy;
};

// What to do about a database that could not be opened for `reason`.
std::string ExplainFailedOpen(const SDatabaseChoice& choice, const std::string& reason);

}  // namespace qvhost
