#include "host/session/sqlite.h"

#include <fmt/format.h>
#include <sqlite3.h>

#include <chrono>
#include <cstdio>
#include <deque>
#include <mutex>
#include <thread>

#include "host/host_error.h"
#include "host/session/database_error.h"
#include "host/session/lock_holder.h"

namespace qvhost {
namespace {

using namespace std::chrono_literals;

constexpr auto kLongestWait = 5s;
constexpr auto kSilentWait = 500ms;
constexpr auto kPause = 20ms;

// One connection's waiting for others.
struct SWait {
  std::string path;
  std::chrono::steady_clock::time_point begin;
  bool told = false;
};

// SQLite calls it when somebody else has locked the file: not 0 to try again.
int OnBusy(void* context, int calls) {
  auto& wait = *static_cast<SWait*>(context);
  const auto now = std::chrono::steady_clock::now();
  if (calls == 0) wait.begin = now;
  if (now - wait.begin >= kLongestWait) return 0;
  if (now - wait.begin >= kSilentWait && !wait.told) {
    wait.told = true;
    std::fprintf(stderr, "qvthumbs: waiting for %s, which is locked by %s\n", wait.path.c_str(),
                 DescribeLockHolder(wait.path).c_str());
  }
  std::this_thread::sleep_for(kPause);
  return 1;
}

// For OnBusy: as long as the process, because nobody tells when a connection closes.
SWait* NewWait(const std::string& path) {
  static std::mutex mutex;
  static auto* const waits = new std::deque<SWait>;
  const std::lock_guard<std::mutex> lock(mutex);
  return &waits->emplace_back(SWait{path, {}, false});
}

}  // namespace

SQLite::Database OpenConnection(const std::string& path, int flags) {
  try {
    SQLite::Database db(path, flags);
    for (const int what :
         {SQLITE_DBCONFIG_ENABLE_TRIGGER, SQLITE_DBCONFIG_ENABLE_VIEW, SQLITE_DBCONFIG_TRUSTED_SCHEMA}) {
      sqlite3_db_config(db.getHandle(), what, 0, nullptr);
    }
    sqlite3_busy_handler(db.getHandle(), &OnBusy, NewWait(path));
    return db;
  } catch (const SQLite::Exception& error) {
    throw CHostError(fmt::format("cannot open {}: {}", path, error.what()));
  }
}

SQLite::Database OpenForReading(const std::string& path) {
  SQLite::Database db = OpenConnection(path, SQLite::OPEN_READWRITE);
  db.exec("PRAGMA query_only=ON");
  return db;
}

std::string ErrorText(const std::exception& error) {
  if (!dynamic_cast<const SQLite::Exception*>(&error)) return error.what();
  const std::string said = error.what(), explained = ExplainDatabaseError(said);
  return explained == said ? "the database says: " + said : explained;
}

}  // namespace qvhost
