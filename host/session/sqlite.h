#pragma once

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Exception.h>
#include <SQLiteCpp/Statement.h>
#include <SQLiteCpp/Transaction.h>
#include <SQLiteCpp/VariadicBind.h>

#include <exception>
#include <string>

namespace qvhost {

// Connections of the host's own. SQL that fails throws SQLite::Exception, which ends a command as a CHostError does.

// Opens a file, with `flags` as SQLite::OPEN_…. Statements wait up to 5 seconds for another program, and say so on
// standard error when it takes long. What somebody may have put into the file, triggers and views, does not run. Throws
// CHostError when the file cannot be opened.
SQLite::Database OpenConnection(const std::string& path, int flags);

// A connection that only reads. It is opened for writing all the same, so that the one that closes last, whichever it
// is, can fold the write-ahead log back into the database.
SQLite::Database OpenForReading(const std::string& path);

// What an error tells the user; of SQLite's own it says which database it is and what to do.
std::string ErrorText(const std::exception& error);

}  // namespace qvhost
