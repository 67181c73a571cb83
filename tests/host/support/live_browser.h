#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "tests/support/child_process.h"
#include "tests/support/temp_folder.h"

// A browser without a window that has a page of a server open, and is told over its debugging pipe what to do there.
class CLiveBrowser {
 public:
  explicit CLiveBrowser(const std::string& url);
  CLiveBrowser(const CLiveBrowser&) = delete;
  CLiveBrowser& operator=(const CLiveBrowser&) = delete;
  ~CLiveBrowser();

  // What a script returns, as text. It may wait, and has all(selector), names() and status().
  std::string Run(const std::string& script);
  // Waits some seconds until an expression is true; what it is then, "true" or what came instead.
  std::string WaitFor(const std::string& expression);

 private:
  nlohmann::json Call(const std::string& method, const nlohmann::json& parameters);
  // Empty when none comes.
  std::string ReadMessage();

  qvtest::CTempFolder m_folder;
  int m_questions = -1, m_answers = -1;
  std::optional<qvtest::CChildProcess> m_process;
  int m_lastID = 0;
  std::string m_session;
  std::string m_read;
};
