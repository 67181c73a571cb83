#include "tests/thumbnailcache/support/sqlite_spy.h"

#include <map>
#include <mutex>
#include <sstream>

#include "system/qvexport.h"
#include "system/qvstring.h"
#include "tests/support/next_function.h"

namespace {

struct SFault {
  std::string text;
  int result = 0;
  int times = 0;
};

struct SState {
  std::mutex mutex;
  std::vector<std::string> traced, prepared, calls;
  std::vector<sqlite3*> connections;
  sqlite3* last = nullptr;
  std::vector<SFault> stepFaults, finalizeFaults, prepareFaults;
  std::string redirect;
  int busyOverride = -1;
  std::function<void(const std::string&)> prepareHook, stepHook;
};

SState& State() {
  static SState state;
  return state;
}

#define REAL(name)                                                         \
  ([] {                                                                    \
    static const auto real = qvtest::NextFunction<decltype(&name)>(#name); \
    return real;                                                           \
  }())

// SQLite's own calls of its interface come by here as well; they are no business of the spy's.
thread_local int t_depth = 0;

class CInside {
 public:
  CInside() { ++t_depth; }
  CInside(const CInside&) = delete;
  CInside& operator=(const CInside&) = delete;
  ~CInside() { --t_depth; }
};

// Calls the library's function; what it calls in turn is not watched.
template <class Function, class... Args>
auto CallReal(Function real, Args... args) {
  const CInside inside;
  return real(args...);
}

bool Watched(sqlite3* db) {
  if (t_depth > 0) return false;
  for (sqlite3* known : State().connections)
    if (known == db) return true;
  return false;
}

// Null statements are the component's too: they come from a prepare that failed.
bool Watched(sqlite3_stmt* statement) { return t_depth == 0 && (!statement || Watched(sqlite3_db_handle(statement))); }

template <class... Args>
void Note(const Args&... args) {
  std::ostringstream line;
  (line << ... << args);
  State().calls.push_back(line.str());
}

std::string Text(sqlite3_stmt* statement) {
  const char* text = statement ? sqlite3_sql(statement) : nullptr;
  return text ? text : "";
}

int TakeFault(std::vector<SFault>& faults, const std::string& text) {
  for (SFault& fault : faults) {
    if (fault.times > 0 && text.find(fault.text) != std::string::npos) {
      --fault.times;
      return fault.result;
    }
  }
  return 0;
}

int OnTrace(unsigned type, void*, void* statement, void* text) {
  const bool inTrigger = std::string(static_cast<const char*>(text)).starts_with("--");
  if (type != SQLITE_TRACE_STMT || inTrigger) return 0;
  std::lock_guard lock(State().mutex);
  State().traced.push_back(Text(static_cast<sqlite3_stmt*>(statement)));
  return 0;
}

// What is unusual about a bound text or blob.
std::string Oddity(bool lengthIsUsual, sqlite3_destructor_type destructor) {
  return std::string(lengthIsUsual ? "" : " with length") + (destructor == SQLITE_TRANSIENT ? "" : " not transient");
}

}  // namespace

extern "C" {

QV_EXPORT int sqlite3_open_v2(const char* path, sqlite3** db, int flags, const char* vfs) {
  std::string redirect;
  {
    std::lock_guard lock(State().mutex);
    redirect = State().redirect;
  }
  const int result = CallReal(REAL(sqlite3_open_v2), redirect.empty() ? path : redirect.c_str(), db, flags, vfs);
  if (result == SQLITE_OK) sqlite3_trace_v2(*db, SQLITE_TRACE_STMT, OnTrace, nullptr);
  std::lock_guard lock(State().mutex);
  Note("open ", path, " ", flags, vfs ? " with vfs" : "");
  if (*db) State().connections.push_back(*db);
  State().last = result == SQLITE_OK ? *db : nullptr;
  return result;
}

QV_EXPORT int sqlite3_exec(sqlite3* db, const char* sql, int (*callback)(void*, int, char**, char**), void* context,
                           char** message) {
  {
    std::lock_guard lock(State().mutex);
    if (Watched(db)) Note("exec ", sql);
  }
  return CallReal(REAL(sqlite3_exec), db, sql, callback, context, message);
}

QV_EXPORT int sqlite3_close(sqlite3* db) {
  bool watched = false;
  {
    std::lock_guard lock(State().mutex);
    watched = Watched(db);
  }
  const int result = CallReal(REAL(sqlite3_close), db);
  if (!watched) return result;
  std::lock_guard lock(State().mutex);
  Note("close ", result);
  if (result == SQLITE_OK) std::erase(State().connections, db);
  if (State().last == db) State().last = nullptr;
  return result;
}

QV_EXPORT int sqlite3_close_v2(sqlite3* db) {
  const int result = CallReal(REAL(sqlite3_close_v2), db);
  std::lock_guard lock(State().mutex);
  if (!Watched(db)) return result;
  Note("close_v2 ", result);
  std::erase(State().connections, db);
  if (State().last == db) State().last = nullptr;
  return result;
}

QV_EXPORT int sqlite3_busy_timeout(sqlite3* db, int milliseconds) {
  int override = -1;
  {
    std::lock_guard lock(State().mutex);
    if (Watched(db)) {
      Note("busy ", milliseconds);
      override = State().busyOverride;
    }
  }
  return CallReal(REAL(sqlite3_busy_timeout), db, override >= 0 ? override : milliseconds);
}

QV_EXPORT int sqlite3_prepare_v2(sqlite3* db, const char* sql, int length, sqlite3_stmt** statement,
                                 const char** tail) {
  std::function<void(const std::string&)> hook;
  int fault = 0;
  {
    std::lock_guard lock(State().mutex);
    if (Watched(db)) {
      fault = TakeFault(State().prepareFaults, sql);
      Note("prepare ", sql, length == -1 ? "" : " with length", tail ? " with tail" : "");
      State().prepared.push_back(sql);
      hook = State().prepareHook;
    }
  }
  if (hook) hook(sql);
  if (fault != 0) {
    *statement = nullptr;
    return fault;
  }
  return CallReal(REAL(sqlite3_prepare_v2), db, sql, length, statement, tail);
}

QV_EXPORT int sqlite3_step(sqlite3_stmt* statement) {
  int fault = 0;
  bool watched = false;
  {
    std::lock_guard lock(State().mutex);
    watched = Watched(statement);
    if (watched) fault = TakeFault(State().stepFaults, Text(statement));
  }
  const int result = fault != 0 ? fault : CallReal(REAL(sqlite3_step), statement);
  if (!watched) return result;
  std::function<void(const std::string&)> hook;
  {
    std::lock_guard lock(State().mutex);
    Note("step ", result);
    if (result != SQLITE_ROW) hook = State().stepHook;
  }
  if (hook) hook(Text(statement));
  return result;
}

QV_EXPORT int sqlite3_finalize(sqlite3_stmt* statement) {
  int fault = 0;
  bool watched = false;
  {
    std::lock_guard lock(State().mutex);
    watched = Watched(statement);
    if (watched) fault = TakeFault(State().finalizeFaults, Text(statement));
  }
  int result = CallReal(REAL(sqlite3_finalize), statement);
  if (fault != 0) result = fault;
  // Finalizing nothing does nothing.
  if (!watched || !statement) return result;
  std::lock_guard lock(State().mutex);
  Note("finalize ", result);
  return result;
}

QV_EXPORT int sqlite3_reset(sqlite3_stmt* statement) {
  {
    std::lock_guard lock(State().mutex);
    if (Watched(statement)) Note("reset");
  }
  return CallReal(REAL(sqlite3_reset), statement);
}

QV_EXPORT int sqlite3_clear_bindings(sqlite3_stmt* statement) {
  {
    std::lock_guard lock(State().mutex);
    if (Watched(statement)) Note("clear");
  }
  return CallReal(REAL(sqlite3_clear_bindings), statement);
}

QV_EXPORT int sqlite3_bind_int(sqlite3_stmt* statement, int index, int value) {
  {
    std::lock_guard lock(State().mutex);
    if (Watched(statement)) Note("bind_int ", index, " ", value);
  }
  return CallReal(REAL(sqlite3_bind_int), statement, index, value);
}

QV_EXPORT int sqlite3_bind_int64(sqlite3_stmt* statement, int index, sqlite3_int64 value) {
  {
    std::lock_guard lock(State().mutex);
    if (Watched(statement)) Note("bind_int64 ", index, " ", value);
  }
  return CallReal(REAL(sqlite3_bind_int64), statement, index, value);
}

QV_EXPORT int sqlite3_bind_double(sqlite3_stmt* statement, int index, double value) {
  {
    std::lock_guard lock(State().mutex);
    if (Watched(statement)) Note("bind_double ", index, " ", value);
  }
  return CallReal(REAL(sqlite3_bind_double), statement, index, value);
}

QV_EXPORT int sqlite3_bind_text(sqlite3_stmt* statement, int index, const char* text, int length,
                                void (*destructor)(void*)) {
  {
    std::lock_guard lock(State().mutex);
    if (Watched(statement))
      Note("bind_text ", index, " '", text ? text : "(null)", "'", Oddity(length == -1, destructor));
  }
  return CallReal(REAL(sqlite3_bind_text), statement, index, text, length, destructor);
}

QV_EXPORT int sqlite3_bind_text16(sqlite3_stmt* statement, int index, const void* text, int length,
                                  void (*destructor)(void*)) {
  {
    const CQvStringW wide = CQvStringUtils::UTF16toW(static_cast<const char16_t*>(text));
    std::lock_guard lock(State().mutex);
    if (Watched(statement))
      Note("bind_text16 ", index, " '", CQvStringUtils::WtoUTF8(wide).Str(), "'", Oddity(length == -1, destructor));
  }
  return CallReal(REAL(sqlite3_bind_text16), statement, index, text, length, destructor);
}

QV_EXPORT int sqlite3_bind_blob(sqlite3_stmt* statement, int index, const void* data, int size,
                                void (*destructor)(void*)) {
  {
    std::lock_guard lock(State().mutex);
    if (Watched(statement)) Note("bind_blob ", index, " ", size, " bytes", Oddity(true, destructor));
  }
  return CallReal(REAL(sqlite3_bind_blob), statement, index, data, size, destructor);
}

// The same to the statement, with room for larger blobs.
QV_EXPORT int sqlite3_bind_blob64(sqlite3_stmt* statement, int index, const void* data, sqlite3_uint64 size,
                                  void (*destructor)(void*)) {
  {
    std::lock_guard lock(State().mutex);
    if (Watched(statement)) Note("bind_blob ", index, " ", size, " bytes", Oddity(true, destructor));
  }
  return CallReal(REAL(sqlite3_bind_blob64), statement, index, data, size, destructor);
}

QV_EXPORT sqlite3_int64 sqlite3_last_insert_rowid(sqlite3* db) {
  {
    std::lock_guard lock(State().mutex);
    if (Watched(db)) Note("rowid");
  }
  return CallReal(REAL(sqlite3_last_insert_rowid), db);
}

}  // extern "C"

namespace qvtest {

void CSqliteSpy::Reset() {
  std::vector<sqlite3*> left;
  {
    std::lock_guard lock(State().mutex);
    left.swap(State().connections);
    State().last = nullptr;
    State().stepFaults.clear();
    State().finalizeFaults.clear();
    State().prepareFaults.clear();
    State().redirect.clear();
    State().busyOverride = -1;
    State().prepareHook = nullptr;
    State().stepHook = nullptr;
  }
  for (sqlite3* db : left) {
    while (sqlite3_stmt* open = sqlite3_next_stmt(db, nullptr)) CallReal(REAL(sqlite3_finalize), open);
    CallReal(REAL(sqlite3_close), db);
  }
  Clear();
}

void CSqliteSpy::Clear() {
  std::lock_guard lock(State().mutex);
  State().traced.clear();
  State().prepared.clear();
  State().calls.clear();
}

std::vector<std::string> CSqliteSpy::TakeTraced() {
  std::lock_guard lock(State().mutex);
  return std::exchange(State().traced, {});
}

std::vector<std::string> CSqliteSpy::TakePrepared() {
  std::lock_guard lock(State().mutex);
  return std::exchange(State().prepared, {});
}

std::vector<std::string> CSqliteSpy::TakeCalls() {
  std::lock_guard lock(State().mutex);
  return std::exchange(State().calls, {});
}

sqlite3* CSqliteSpy::Connection() {
  std::lock_guard lock(State().mutex);
  return State().last;
}

std::vector<std::string> CSqliteSpy::OpenStatements() {
  std::vector<std::string> texts;
  sqlite3* db = Connection();
  for (sqlite3_stmt* open = nullptr; db && (open = sqlite3_next_stmt(db, open));) texts.push_back(Text(open));
  return texts;
}

void CSqliteSpy::FinalizeOpenStatements() {
  sqlite3* db = Connection();
  while (sqlite3_stmt* open = db ? sqlite3_next_stmt(db, nullptr) : nullptr) CallReal(REAL(sqlite3_finalize), open);
}

int CSqliteSpy::OpenConnections() {
  std::lock_guard lock(State().mutex);
  return static_cast<int>(State().connections.size());
}

void CSqliteSpy::FailStep(const std::string& text, int result, int times) {
  std::lock_guard lock(State().mutex);
  State().stepFaults.push_back({text, result, times});
}

void CSqliteSpy::FailFinalize(const std::string& text, int result, int times) {
  std::lock_guard lock(State().mutex);
  State().finalizeFaults.push_back({text, result, times});
}

void CSqliteSpy::FailPrepare(const std::string& text, int result, int times) {
  std::lock_guard lock(State().mutex);
  State().prepareFaults.push_back({text, result, times});
}

void CSqliteSpy::RedirectOpens(const std::string& path) {
  std::lock_guard lock(State().mutex);
  State().redirect = path;
}

void CSqliteSpy::OverrideBusyTimeout(int milliseconds) {
  std::lock_guard lock(State().mutex);
  State().busyOverride = milliseconds;
}

void CSqliteSpy::SetPrepareHook(std::function<void(const std::string& text)> hook) {
  std::lock_guard lock(State().mutex);
  State().prepareHook = std::move(hook);
}

void CSqliteSpy::SetStepHook(std::function<void(const std::string& text)> hook) {
  std::lock_guard lock(State().mutex);
  State().stepHook = std::move(hook);
}

}  // namespace qvtest
