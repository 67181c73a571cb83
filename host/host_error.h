#pragma once

#include <stdexcept>
#include <string>

namespace qvhost {

// What the program's exit status tells.
enum EExitStatus : int {
  kExitOk = 0,          // all done
  kExitSomeFailed = 1,  // some files or records failed; each was named with its reason
  kExitWrongUse = 2,    // nothing was done: wrong arguments, or the database cannot be used
  kExitInterrupted = 130,
};

// Ends the running command. The text tells the user what is wrong and what to do.
class CHostError : public std::runtime_error {
 public:
  explicit CHostError(const std::string& text, int status = kExitWrongUse)
      : std::runtime_error(text), m_status(status) {}
  int Status() const noexcept { return m_status; }

 private:
  int m_status;
};

}  // namespace qvhost
