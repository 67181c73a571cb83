#include "host/serve/opened_page.h"

#include <fmt/format.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "host/host_error.h"

namespace qvhost {
namespace {

// Where only this user has files, as long as the session lasts; else where everybody has.
std::string PageFolder() {
  const char* folder = std::getenv("XDG_RUNTIME_DIR");
  return folder && access(folder, W_OK | X_OK) == 0 ? folder : std::filesystem::temp_directory_path().string();
}

bool WriteWhole(int file, const std::string& text) {
  return write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

// A new file that nobody else can read. Its name says that it is a page, which the browser is chosen by.
std::string WritePage(const std::string& address) {
  constexpr std::string_view kExtension = ".html";
  std::string path = PageFolder() + "/qvthumbs-XXXXXX" + std::string(kExtension);
  const int file = mkstemps(path.data(), static_cast<int>(kExtension.size()));
  const bool written =
      file >= 0 && WriteWhole(file, fmt::format("<!DOCTYPE html>\n<meta charset=\"utf-8\">\n<title>qvthumbs</title>\n"
                                                "<meta http-equiv=\"refresh\" content=\"0; url={}\">\n",
                                                address));
  const int error = errno;
  if (file >= 0) close(file);
  if (written) return path;
  if (file >= 0) unlink(path.c_str());
  throw CHostError(fmt::format("no browser was opened: {}: {}", path, std::generic_category().message(error)));
}

// In a session of its own, so that Ctrl-C and a closed terminal end this program and not the browser.
bool StartBrowser(const std::string& page) {
  constexpr const char* kScript =
      "command -v xdg-open >/dev/null || exit 1\nxdg-open \"$1\" </dev/null >/dev/null 2>&1 &";
  const char* arguments[] = {"sh", "-c", kScript, "sh", page.c_str(), nullptr};
  posix_spawnattr_t attributes;
  if (posix_spawnattr_init(&attributes) != 0) return false;
  pid_t shell = -1;
  const bool started =
      posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID) == 0 &&
      posix_spawn(&shell, "/bin/sh", nullptr, &attributes, const_cast<char**>(arguments), environ) == 0;
  posix_spawnattr_destroy(&attributes);
  if (!started) return false;
  int status = -1;
  while (waitpid(shell, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace

COpenedPage::COpenedPage(const std::string& address) : m_path(WritePage(address)) {
  if (StartBrowser(m_path)) return;
  unlink(m_path.c_str());
  throw CHostError("no browser was opened: there is no xdg-open (package xdg-utils)");
}

COpenedPage::~COpenedPage() { unlink(m_path.c_str()); }

}  // namespace qvhost
