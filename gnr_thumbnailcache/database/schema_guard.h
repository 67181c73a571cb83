#pragma once

struct sqlite3;

// While it lives, no statement is prepared after Arm, so that a statement prepared before works on the tables as they
// were then or not at all. When another process has changed them meanwhile, SQLite would by itself prepare it anew: a
// DROP would then take a table that nobody has looked at. Its step gives SQLITE_AUTH instead.
class CSchemaGuard {
 public:
  explicit CSchemaGuard(sqlite3* db) noexcept;
  CSchemaGuard(const CSchemaGuard&) = delete;
  CSchemaGuard& operator=(const CSchemaGuard&) = delete;
  ~CSchemaGuard();

  void Arm() noexcept { m_armed = true; }

 private:
  static int Authorise(void* guard, int action, const char*, const char*, const char*, const char*) noexcept;

  sqlite3* m_db;
  bool m_armed = false;
};
