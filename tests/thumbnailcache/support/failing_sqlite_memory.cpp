#include "tests/thumbnailcache/support/failing_sqlite_memory.h"

#include <sqlite3.h>

#include <atomic>
#include <cstdlib>

namespace qvtest {
namespace {

std::atomic<bool> g_limited{false}, g_failed{false}, g_fromThenOn{false};
std::atomic<long> g_room{0};
sqlite3_mem_methods g_real;

bool Fails() {
  if (!g_limited) return false;
  const long before = g_room.fetch_sub(1);
  if (before > 0 || (before < 0 && !g_fromThenOn)) return false;
  g_failed = true;
  return true;
}

void* Allocate(int size) { return Fails() ? nullptr : g_real.xMalloc(size); }
void* Reallocate(void* memory, int size) { return Fails() ? nullptr : g_real.xRealloc(memory, size); }

// SQLite takes another allocator only before its first use.
const bool g_installed = [] {
  if (sqlite3_config(SQLITE_CONFIG_GETMALLOC, &g_real) != SQLITE_OK) std::abort();
  static sqlite3_mem_methods methods = g_real;
  methods.xMalloc = Allocate;
  methods.xRealloc = Reallocate;
  if (sqlite3_config(SQLITE_CONFIG_MALLOC, &methods) != SQLITE_OK) std::abort();
  return true;
}();

}  // namespace

void CFailingSqliteMemory::Limit(long room, bool fromThenOn) {
  g_fromThenOn = fromThenOn;
  g_failed = false;
  g_room = room;
  g_limited = g_installed;
}

bool CFailingSqliteMemory::Lift() {
  g_limited = false;
  return g_failed;
}

}  // namespace qvtest
