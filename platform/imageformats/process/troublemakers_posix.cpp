#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/imageformats/process/descriptor.h"
#include "platform/imageformats/process/file_record.h"
#include "platform/imageformats/process/troublemakers.h"

namespace imageformats {

namespace {

constexpr std::size_t kMaxRecords = 4096;
constexpr std::ptrdiff_t kTwice = 2;

// With its slash; empty when the user has no such place.
std::string CacheFolder() {
  if (const char* cache = secure_getenv("XDG_CACHE_HOME"); cache != nullptr && cache[0] == '/') {
    return std::string(cache) + "/qvthumbs/";
  }
  const char* home = secure_getenv("HOME");
  return home != nullptr && home[0] == '/' ? std::string(home) + "/.cache/qvthumbs/" : std::string();
}

// Of this user, and a plain file: no link planted by another is followed or written through.
CDescriptor OpenList(int flags) {
  const std::string folder = CacheFolder();
  if (folder.empty()) return CDescriptor();
  CDescriptor list(open((folder + "decoder-failures").c_str(), flags | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK, 0600));
  struct stat status {};
  if (list && (fstat(list.Get(), &status) != 0 || !S_ISREG(status.st_mode) || status.st_uid != geteuid() ||
               status.st_nlink != 1)) {
    list.Reset();
  }
  return list;
}

std::vector<SFileRecord> ReadList(int list) {
  struct stat status {};
  if (fstat(list, &status) != 0 || status.st_size <= 0) return {};
  std::vector<SFileRecord> records(
      std::min(static_cast<std::size_t>(status.st_size) / sizeof(SFileRecord), kMaxRecords));
  const ssize_t size = pread(list, records.data(), records.size() * sizeof(SFileRecord), 0);
  records.resize(size > 0 ? static_cast<std::size_t>(size) / sizeof(SFileRecord) : 0);
  return records;
}

// The older half goes when the list is full.
void AppendTo(int list, const SFileRecord& record) {
  std::vector<SFileRecord> records = ReadList(list);
  if (records.size() >= kMaxRecords) records.erase(records.begin(), records.begin() + kMaxRecords / 2);
  records.push_back(record);
  const std::size_t size = records.size() * sizeof(SFileRecord);
  if (pwrite(list, records.data(), size, 0) == static_cast<ssize_t>(size)) {
    [[maybe_unused]] const int cut = ftruncate(list, static_cast<off_t>(size));
  }
}

}  // namespace

void NoteTroublemaker(const CInput& input) noexcept {
  try {
    const std::optional<SFileRecord> record = RecordOf(input);
    if (!record) return;
    std::error_code ignored;
    const std::string folder = CacheFolder();
    if (folder.empty()) return;
    std::filesystem::create_directories(std::filesystem::path(folder).parent_path().parent_path(), ignored);
    mkdir(folder.c_str(), 0700);
    const CDescriptor list = OpenList(O_RDWR | O_CREAT);
    // Released when the list is closed.
    if (list && flock(list.Get(), LOCK_EX) == 0) AppendTo(list.Get(), *record);
  } catch (const std::exception&) {
  }
}

bool IsTroublemaker(const CInput& input) noexcept {
  try {
    if (!input.IsFile()) return false;
    const CDescriptor list = OpenList(O_RDONLY);
    if (!list) return false;
    const std::optional<SFileRecord> record = RecordOf(input);
    if (!record || flock(list.Get(), LOCK_SH) != 0) return false;
    const std::vector<SFileRecord> records = ReadList(list.Get());
    return std::count(records.begin(), records.end(), *record) >= kTwice;
  } catch (const std::exception&) {
    return false;
  }
}

}  // namespace imageformats
