#pragma once

#include <string>

#include "tests/support/temp_folder.h"

// A browser without a window, to see what a page makes of itself.
class CBrowser {
 public:
  // Where it lies; empty when there is none, and a test that needs it is to be skipped.
  static std::string Program();

  // The document after everything that the page does in its first seconds, which are let pass without waiting for them.
  std::string Document(const std::string& url) const { return Document(url, "--virtual-time-budget=6000"); }
  // The same of a page that a server keeps telling news, with waiting.
  std::string LiveDocument(const std::string& url) const { return Document(url, "--timeout=6000"); }
  // Runs `script` at the end of a page's file and gives what it returns, as text. It may wait.
  std::string Run(const std::string& page, const std::string& script) const;

 private:
  std::string Document(const std::string& url, const std::string& until) const;

  qvtest::CTempFolder m_folder;
};
