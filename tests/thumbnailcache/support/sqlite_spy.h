#pragma once

#include <sqlite3.h>

#include <functional>
#include <string>
#include <vector>

namespace qvtest {

// Watches the SQLite calls of the connections that the component opens (through sqlite3_open_v2; a test's own
// connections are opened with sqlite3_open and stay unwatched). The program defines the calls itself and hands on to
// the library's, so that statements that are prepared and never stepped are seen as well. Linking the source installs
// it.
class CSqliteSpy {
 public:
  // Forgets what was recorded, and every failure and override. Closes connections that the component left open.
  static void Reset();

  // The texts that ran, in the order in which they were first stepped, as sqlite3_trace_v2 reports them.
  static std::vector<std::string> TakeTraced();
  // The texts that were prepared, stepped or not.
  static std::vector<std::string> TakePrepared();
  // Every call, one line each: "prepare <sql>", "bind_text 1 'abc'", "step 101", "finalize 0", "reset", "clear",
  // "rowid", "open <path> <flags>", "close 0", "busy 5000". A length other than -1 of a text or statement, a destructor
  // other than SQLITE_TRANSIENT and a VFS name are added when they occur.
  static std::vector<std::string> TakeCalls();
  // Forgets what was recorded so far.
  static void Clear();

  // The connection that was opened last; null when its open failed or it was closed.
  static sqlite3* Connection();
  // Statements of the connection that are prepared and not finalized.
  static std::vector<std::string> OpenStatements();
  static void FinalizeOpenStatements();
  // Connections that were opened, with or without success, and not closed.
  static int OpenConnections();

  // The next sqlite3_step (sqlite3_finalize) of a statement whose text contains `text` gives `result` without stepping
  // (after finalizing).
  static void FailStep(const std::string& text, int result, int times = 1);
  static void FailFinalize(const std::string& text, int result, int times = 1);
  // The next sqlite3_prepare_v2 of such a text gives `result` and no statement.
  static void FailPrepare(const std::string& text, int result, int times = 1);
  // Opens go to this file instead of the path asked for, which is recorded all the same.
  static void RedirectOpens(const std::string& path);
  // Replaces the busy timeout that the component asks for.
  static void OverrideBusyTimeout(int milliseconds);
  // Called with the text of every statement before it is prepared.
  static void SetPrepareHook(std::function<void(const std::string& text)> hook);
  // Called with the text of every statement after a step that did not give a row, before the caller sees the result.
  static void SetStepHook(std::function<void(const std::string& text)> hook);
};

}  // namespace qvtest
