#include "host/watch/folder_watch.h"

#include <fmt/format.h>
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "host/file_extension.h"
#include "host/files/image_file.h"
#include "host/host_error.h"
#include "host/output/text.h"

namespace qvhost {
namespace {

namespace fs = std::filesystem;

constexpr std::uint32_t kWatched = IN_CREATE | IN_MODIFY | IN_CLOSE_WRITE | IN_ATTRIB | IN_MOVED_TO | IN_MOVED_FROM |
                                   IN_DELETE | IN_ONLYDIR | IN_EXCL_UNLINK;

bool IsPictureFolder(const fs::path& folder) { return LowerCaseExtension(folder) == ".zarr"; }

// What a picture is described by may have such a name.
bool IsHidden(const fs::path& path) {
  return path.filename().string().front() == '.' && PictureOf(path.string()) == path.string();
}

}  // namespace

std::string PictureOf(const std::string& path) {
  fs::path picture = path;
  for (fs::path above = picture.parent_path(); above != above.root_path(); above = above.parent_path()) {
    if (IsPictureFolder(above)) picture = above;
  }
  return picture.string();
}

CFolderWatch::CFolderWatch() : m_inotify(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
  if (m_inotify < 0) throw CHostError(fmt::format("cannot watch folders: {}", std::strerror(errno)));
}

CFolderWatch::~CFolderWatch() { close(m_inotify); }

void CFolderWatch::Add(const std::string& folder) {
  // Under the name by which the user called it, so that the database knows its files.
  const std::string path = AbsolutePath(folder);
  std::error_code error;
  if (!fs::is_directory(path, error)) {
    throw CHostError(fmt::format("{}: {}", Printable(folder), error ? error.message() : "is no folder"));
  }
  AddTree(path.size() > 1 && path.ends_with('/') ? path.substr(0, path.size() - 1) : path, nullptr);
}

void CFolderWatch::AddAlone(const std::string& folder) {
  AddOne({folder, true});
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    std::error_code unknown;
    if (IsPictureFolder(entry->path()) && entry->is_directory(unknown)) AddTree(entry->path().string(), nullptr);
  }
}

// What already lies in a folder that has just appeared is told of, because it came before the watch.
void CFolderWatch::AddTree(const std::string& folder, SChanges* changes) {
  AddOne({folder, false});
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    std::error_code unknown;
    if (IsHidden(entry->path())) continue;
    if (entry->is_directory(unknown) && !entry->is_symlink(unknown)) {
      AddTree(entry->path().string(), changes);
    } else if (changes) {
      changes->files.push_back({entry->path().string(), false});
    }
  }
}

void CFolderWatch::AddOne(const SFolder& folder) {
  const int watch = inotify_add_watch(m_inotify, folder.path.c_str(), kWatched);
  if (watch >= 0) {
    m_folders[watch] = folder;
  } else if (errno == ENOSPC) {
    throw CHostError(
        "there are more folders than the system lets a user watch; raise fs.inotify.max_user_watches with sysctl");
  } else if (errno != ENOENT && errno != ENOTDIR) {
    throw CHostError(fmt::format("cannot watch {}: {}", Printable(folder.path), std::strerror(errno)));
  }
}

void CFolderWatch::TakeFolder(const SFolder& above, const SChange& change, SChanges* changes) {
  if (above.isAlone) changes->files.push_back(change);
  if (!change.isGone && (!above.isAlone || IsPictureFolder(change.path))) AddTree(change.path, changes);
}

CFolderWatch::SChanges CFolderWatch::Wait(std::chrono::milliseconds timeout) {
  pollfd ready = {m_inotify, POLLIN, 0};
  SChanges changes;
  if (poll(&ready, 1, static_cast<int>(timeout.count())) > 0) Read(&changes);
  return changes;
}

void CFolderWatch::Read(SChanges* changes) {
  alignas(inotify_event) char buffer[65536];
  for (ssize_t got; (got = read(m_inotify, buffer, sizeof buffer)) > 0;) {
    for (ssize_t at = 0; at < got;) {
      const auto* event = reinterpret_cast<const inotify_event*>(buffer + at);
      at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
      if (event->mask & IN_Q_OVERFLOW) changes->areLost = true;
      const auto folder = m_folders.find(event->wd);
      if (folder == m_folders.end()) continue;
      if (event->mask & IN_IGNORED) {
        m_folders.erase(folder);
        continue;
      }
      if (event->len == 0) continue;
      // A copy: taking a folder in adds to the list.
      const SFolder above = folder->second;
      const SChange change = {above.path + "/" + event->name, (event->mask & (IN_DELETE | IN_MOVED_FROM)) != 0};
      if (IsHidden(change.path)) continue;
      if (event->mask & IN_ISDIR) {
        TakeFolder(above, change, changes);
      } else {
        changes->files.push_back(change);
      }
    }
  }
}

}  // namespace qvhost
