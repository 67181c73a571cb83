#include <sys/stat.h>

#include <filesystem>
#include <string>

#include "platform/imageformats/process/file_record.h"

namespace imageformats {

namespace {

// FNV-1a.
std::uint64_t HashOf(const std::string& text) noexcept {
  std::uint64_t hash = 0xCBF29CE484222325u;
  for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3u;
  return hash;
}

// Absolute, and without anything that a normal form leaves out.
bool IsNormal(const std::string& path) noexcept {
  return path.starts_with('/') && path.find("//") == std::string::npos && path.find("/.") == std::string::npos;
}

std::string NormalPath(const std::string& path) {
  return IsNormal(path) ? path : std::filesystem::absolute(path).lexically_normal().string();
}

}  // namespace

std::optional<SFileRecord> RecordOf(const CInput& input) {
  struct stat status {};
  if (!input.IsFile() || input.NativePath().IsEmpty() || fstat(input.Handle(), &status) != 0) return std::nullopt;
  SFileRecord record;
  record.path = HashOf(NormalPath(input.NativePath().Str()));
  record.size = static_cast<std::uint64_t>(status.st_size);
  record.seconds = status.st_mtim.tv_sec;
  record.nanoseconds = status.st_mtim.tv_nsec;
  return record;
}

}  // namespace imageformats
