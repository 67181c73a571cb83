#pragma once

namespace qvhost {

// Ctrl-C, a polite kill and a closed terminal. The first one sets a flag that long work looks at; the second one ends
// the program as the system does by default.
class CInterrupt {
 public:
  static void Install() noexcept;
  static bool Requested() noexcept;
  // As a signal does it, on any thread.
  static void Request() noexcept;
  // Ends the command when it is requested; `text` tells what became of its work. Throws CHostError.
  static void ThrowIfRequested(const char* text);
};

}  // namespace qvhost
