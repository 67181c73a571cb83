#pragma once

#include <string>
#include <vector>

#include "picture/qvpicbuf.h"

namespace qvtest {

// Watches the component's calls of the platform's picture, file and registry operations, which the program defines
// itself and hands on. Linking the source installs it.
class CPlatformSpy {
 public:
  static void Reset();
  // Records pictures calls ("Reinit 240x180 0 8 3 true", "Free", "Stretch 3"), file calls ("QV_OpenFile <path> 1 3
  // 4294967295", …) and registry calls ("CreateAndQuery <class> <interface> <file> <line>", "Release").
  static void Record(bool on);
  static std::vector<std::string> TakeCalls();
  // Those of the calls that begin with one of the prefixes.
  static std::vector<std::string> TakeCalls(const std::vector<std::string>& prefixes);

  // Pictures that hold pixels: given by Reinit, not yet freed.
  static int LivePictures();
  // Frees them, behind their owners' backs; for a picture that is left behind on purpose.
  static void FreeLeftPictures();
};

}  // namespace qvtest
