#pragma once

namespace qvtest {

// Makes allocations of SQLite fail. Linking the source puts it before SQLite's own allocator, for the whole process.
class CFailingSqliteMemory {
 public:
  // Of the allocations, the one after `room` others fails, alone or with all after it.
  static void Limit(long room, bool fromThenOn);
  // No allocation fails any more. Whether one did.
  static bool Lift();
};

}  // namespace qvtest
