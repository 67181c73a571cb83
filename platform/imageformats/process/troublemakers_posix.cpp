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
#include "platform/imageformats/process/troublemakers.h"

namespace imageformats {

namespace {

// One failure of one file, as the list has it. The path's place is taken by its hash: the list tells nobody what the
// user looks at, and all records are of one size.
struct SRecord {
  std::uint64_t path = 0;
  std::uint64_t size = 0;
  std::int64_t seconds = 0, nanoseconds = 0;  // of the last write
  friend bool operator==(const SRecord&, const SRecord&) = default;
};

constexpr std::size_t kMaxRecords = 4096;
constexpr std::ptrdiff_t kTwice = 2;

// FNV-1a.
std::uint64_t HashOf(const std::string& text) noexcept {
  std::uint64_t hash = 0xCBF29CE484222325u;
  for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3u;
  return hash;
}

bool RecordOf(const CInput& input, SRecord* record) {
  if (!input.IsFile() || input.NativePath().IsEmpty()) return false;
  struct stat status {};
  if (fstat(input.Handle(), &status) != 0) return false;
  record->path = HashOf(std::filesystem::absolute(input.NativePath().Str()).lexically_normal().string());
  record->size = static_cast<std::uint64_t>(status.st_size);
  record->seconds = status.st_mtim.tv_sec;
  record->nanoseconds = status.st_mtim.tv_nsec;
  return true;
}

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

std::vector<SRecord> ReadList(int list) {
  struct stat status {};
  if (fstat(list, &status) != 0 || status.st_size <= 0) return {};
  std::vector<SRecord> records(std::min(static_cast<std::size_t>(status.st_size) / sizeof(SRecord), kMaxRecords));
  const ssize_t size = pread(list, records.data(), records.size() * sizeof(SRecord), 0);
  records.resize(size > 0 ? static_cast<std::size_t>(size) / sizeof(SRecord) : 0);
  return records;
}

// The older half goes when the list is full.
void AppendTo(int list, const SRecord& record) {
  std::vector<SRecord> records = ReadList(list);
  if (records.size() >= kMaxRecords) records.erase(records.begin(), records.begin() + kMaxRecords / 2);
  records.push_back(record);
  const std::size_t size = records.size() * sizeof(SRecord);
  if (pwrite(list, records.data(), size, 0) == static_cast<ssize_t>(size)) {
    [[maybe_unused]] const int cut = ftruncate(list, static_cast<off_t>(size));
  }
}

}  // namespace

void NoteTroublemaker(const CInput& input) noexcept {
  try {
    SRecord record;
    if (!RecordOf(input, &record)) return;
    std::error_code ignored;
    const std::string folder = CacheFolder();
    if (folder.empty()) return;
    std::filesystem::create_directories(std::filesystem::path(folder).parent_path().parent_path(), ignored);
    mkdir(folder.c_str(), 0700);
    const CDescriptor list = OpenList(O_RDWR | O_CREAT);
    // Released when the list is closed.
    if (list && flock(list.Get(), LOCK_EX) == 0) AppendTo(list.Get(), record);
  } catch (const std::exception&) {
  }
}

bool IsTroublemaker(const CInput& input) noexcept {
  try {
    const CDescriptor list = OpenList(O_RDONLY);
    SRecord record;
    if (!list || flock(list.Get(), LOCK_SH) != 0 || !RecordOf(input, &record)) return false;
    const std::vector<SRecord> records = ReadList(list.Get());
    return std::count(records.begin(), records.end(), record) >= kTwice;
  } catch (const std::exception&) {
    return false;
  }
}

}  // namespace imageformats
