#include "tests/host/support/live_browser.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "tests/host/support/browser.h"

using namespace qvtest;

namespace {

constexpr int kAnswerTimeout = 30'000;  // milliseconds

constexpr const char* kPageFunctions =
    "const pause = time => new Promise(done => setTimeout(done, time));"
    "const all = selector => [...document.querySelectorAll(selector)];"
    "const names = () => all('.caption b').map(each => each.textContent).join(' ');"
    "const status = () => document.getElementById('status').textContent;";

// Open at both ends, so that neither side waits for the other to open it.
int MakePipe(const std::string& path) {
  if (mkfifo(path.c_str(), 0600) != 0) return -1;
  return open(path.c_str(), O_RDWR | O_CLOEXEC);
}

}  // namespace

CLiveBrowser::CLiveBrowser(const std::string& url)
    : m_questions(MakePipe(m_folder.Path("questions"))), m_answers(MakePipe(m_folder.Path("answers"))) {
  SCommand command;
  command.arguments = {"sh",
                       "-c",
                       "q=$1 a=$2; shift 2; exec \"$@\" 3<\"$q\" 4>\"$a\"",
                       "sh",
                       m_folder.Path("questions"),
                       m_folder.Path("answers")};
  for (const std::string& argument : CBrowser::Command(m_folder.Path("profile"))) command.arguments.push_back(argument);
  command.arguments.push_back("--remote-debugging-pipe");
  m_process.emplace(command);
  const nlohmann::json target = Call("Target.createTarget", {{"url", url}});
  const nlohmann::json attached =
      Call("Target.attachToTarget", {{"targetId", target.value("targetId", "")}, {"flatten", true}});
  m_session = attached.value("sessionId", "");
  EXPECT_NE(m_session, "");
  // Before, it is another document that scripts run in, or none.
  for (int i = 0; i < 300; ++i) {
    if (Run("return location.protocol + document.readyState;") == "http:complete") return;
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  ADD_FAILURE() << "the page does not load";
}

CLiveBrowser::~CLiveBrowser() {
  m_session.clear();
  Call("Browser.close", nlohmann::json::object());
  m_process->Wait();
  close(m_questions);
  close(m_answers);
}

std::string CLiveBrowser::ReadMessage() {
  for (;;) {
    const std::size_t end = m_read.find('\0');
    if (end != m_read.npos) {
      const std::string message = m_read.substr(0, end);
      m_read.erase(0, end + 1);
      return message;
    }
    pollfd ready = {m_answers, POLLIN, 0};
    char buffer[65536];
    if (poll(&ready, 1, kAnswerTimeout) <= 0) return {};
    const ssize_t got = read(m_answers, buffer, sizeof buffer);
    if (got <= 0) return {};
    m_read.append(buffer, static_cast<std::size_t>(got));
  }
}

nlohmann::json CLiveBrowser::Call(const std::string& method, const nlohmann::json& parameters) {
  nlohmann::json question = {{"id", ++m_lastID}, {"method", method}, {"params", parameters}};
  if (!m_session.empty()) question["sessionId"] = m_session;
  const std::string text = question.dump();
  const auto size = static_cast<ssize_t>(text.size() + 1);
  EXPECT_EQ(write(m_questions, text.c_str(), static_cast<std::size_t>(size)), size);
  for (;;) {
    const std::string message = ReadMessage();
    if (message.empty()) return {{"error", "no answer"}};
    const nlohmann::json answer = nlohmann::json::parse(message);
    if (answer.value("id", 0) == m_lastID) return answer.value("result", answer);
  }
}

std::string CLiveBrowser::Run(const std::string& script) {
  const nlohmann::json answer =
      Call("Runtime.evaluate", {{"expression", "(async () => {" + std::string(kPageFunctions) + script + "})()"},
                                {"awaitPromise", true},
                                {"returnByValue", true}});
  if (!answer.contains("result") || answer.contains("exceptionDetails")) return "failed: " + answer.dump();
  const nlohmann::json value = answer["result"].value("value", nlohmann::json());
  return value.is_string() ? value.get<std::string>() : value.dump();
}

std::string CLiveBrowser::WaitFor(const std::string& expression) {
  return Run("for (let i = 0; i < 200; ++i) { if (" + expression +
             ") return true; await pause(100); } return names() + '; ' + status() + '; ' + document.body.innerText;");
}
