#pragma once

namespace qvtest {

// Makes the program's allocations fail. Linking the source replaces the operators new of the whole process, so it is
// for programs without sanitizers, whose own they are. Also makes threads fail to start. One thread at a time.
class CFailingMemory {
 public:
  enum class EThreads { This, Others };  // whose allocations: the calling thread's, or all others'
  enum class EFault { Once, FromThenOn };

  // So many allocations succeed before the fault.
  static void Limit(EThreads threads, long room, EFault fault);
  // Ends it. Whether an allocation failed.
  static bool Lift();

  // The next pthread_create calls of the component fail with EAGAIN.
  static void RefuseThreads(int count);
};

}  // namespace qvtest
