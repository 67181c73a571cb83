#pragma once

#include <sqlite3.h>

#include <memory>

struct SCloseConnection {
  void operator()(sqlite3* db) const noexcept { sqlite3_close(db); }
};

// Closes a connection that no statement is left of.
using CConnectionOwner = std::unique_ptr<sqlite3, SCloseConnection>;
