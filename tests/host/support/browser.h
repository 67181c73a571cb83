#pragma once

#include <string>
#include <vector>

#include "tests/support/temp_folder.h"

// A browser without a window, to see what a page makes of itself.
class CBrowser {
 public:
  // Where it lies; empty when there is none, and a test that needs it is to be skipped.
  static std::string Program();
  // It and what it is started with, whatever it is to do.
  static std::vector<std::string> Command(const std::string& profile);

  // The document after everything that the page does in its first seconds, which are let pass without waiting for them.
  std::string Document(const std::string& url) const;
  // Runs `script` at the end of a page's file and gives what it returns, as text. It may wait.
  std::string Run(const std::string& page, const std::string& script) const;

 private:
  qvtest::CTempFolder m_folder;
};
