#include "tests/host/support/browser.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/child_process.h"
#include "tests/support/file_bytes.h"

using namespace qvtest;

std::string CBrowser::Program() {
  for (const char* path : {"/usr/bin/chromium", "/usr/bin/chromium-browser"}) {
    if (std::filesystem::exists(path)) return path;
  }
  return {};
}

std::vector<std::string> CBrowser::Command(const std::string& profile) {
  return {Program(),
          "--headless=new",
          "--no-sandbox",
          "--disable-gpu",
          "--no-first-run",
          "--disable-dev-shm-usage",
          "--disable-background-networking",
          "--user-data-dir=" + profile,
          "--window-size=1200,900"};
}

std::string CBrowser::Document(const std::string& url) const {
  SCommand command;
  command.arguments = Command(m_folder.Path("profile"));
  command.arguments.insert(command.arguments.end(), {"--virtual-time-budget=6000", "--dump-dom", url});
  command.out = m_folder.Path("document.html");
  EXPECT_EQ(CChildProcess(command).Wait().status, 0);
  return ReadTextFile(command.out);
}

std::string CBrowser::Run(const std::string& page, const std::string& script) const {
  const std::string path = m_folder.MakeFile(
      "page.html", ReadTextFile(page) +
                       "<pre id=\"answer\"></pre><script>(async () => {"
                       "const pause = (time = 60) => new Promise(done => setTimeout(done, time));"
                       "const all = selector => [...document.querySelectorAll(selector)];"
                       "const names = () => all('.caption b').map(each => each.textContent).join(' ');"
                       "const type = async text => { const filter = document.getElementById('filter');"
                       "  filter.value = text; filter.dispatchEvent(new Event('input')); await pause(); };"
                       "const choose = async (id, value) => { const select = document.querySelector(id);"
                       "  select.value = value; select.dispatchEvent(new Event('change')); await pause(); };"
                       "const press = key => document.activeElement.dispatchEvent("
                       "  new KeyboardEvent('keydown', {key, bubbles: true, cancelable: true}));"
                       "const status = () => document.getElementById('status').textContent;"
                       "await pause(200); let answer;"
                       "try { answer = await (async () => {" +
                       script +
                       "})(); } catch (error) { answer = 'failed: ' + error.stack; }"
                       "document.getElementById('answer').textContent = '[[' + answer + ']]'; })();</script>");
  const std::string document = Document("file://" + path);
  const std::size_t begin = document.find("<pre id=\"answer\">[["), end = document.find("]]</pre>", begin);
  if (begin == document.npos || end == document.npos) return "no answer";
  constexpr std::size_t kLead = 19;
  return document.substr(begin + kLead, end - begin - kLead);
}
