#include "host/output/output_target.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "host/host_error.h"
#include "host/output/text.h"

namespace qvhost {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kHeadSize = 4096;
// As many links as the system follows.
constexpr int kMaxLinks = 40;

std::optional<struct stat> StatusOf(const std::string& path) {
  struct stat status;
  if (stat(path.c_str(), &status) == 0) return status;
  if (errno == ENOENT) return std::nullopt;
  throw CHostError(fmt::format("cannot write {}: {}", Printable(path), std::strerror(errno)));
}

bool IsSame(const struct stat& a, const struct stat& b) noexcept {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

bool IsStandardOutputFile(const struct stat& status) noexcept {
  struct stat output;
  return fstat(STDOUT_FILENO, &output) == 0 && IsSame(output, status);
}

std::string WithoutLinks(const std::string& name) {
  fs::path path = name;
  std::error_code error;
  for (int i = 0; i < kMaxLinks && fs::is_symlink(fs::symlink_status(path, error)); ++i) {
    const fs::path target = fs::read_symlink(path, error);
    if (error) break;
    path = path.parent_path() / target;  // an absolute target replaces the folder
  }
  return path.string();
}

std::string HeadOf(const std::string& path) {
  std::string head(kHeadSize, '\0');
  std::ifstream file(path, std::ios::binary);
  if (!file)
    throw CHostError(fmt::format("{} is there already and cannot be read; choose another name", Printable(path)));
  file.read(head.data(), static_cast<std::streamsize>(head.size()));
  head.resize(static_cast<std::size_t>(file.gcount()));
  return head;
}

}  // namespace

COutputTarget::COutputTarget(const std::string& name, IsOwn isOwn) : m_name(name), m_path(name) {
  if (name.empty()) throw CHostError("the output has an empty name; name a file, or - for standard output");
  m_isStandardOutput = name == "-";
  if (!m_isStandardOutput) {
    m_present = StatusOf(name);
    m_isStandardOutput = m_present && IsStandardOutputFile(*m_present);
  }
  if (m_present && S_ISDIR(m_present->st_mode)) {
    throw CHostError(fmt::format("{} is a folder; name a file in it", Printable(name)));
  }
  if (m_present && S_ISBLK(m_present->st_mode)) {
    throw CHostError(fmt::format("{} is a disk; name a file on it", Printable(name)));
  }
  if (m_isStandardOutput) m_name = "standard output";
  m_isStream = m_isStandardOutput || (m_present && !S_ISREG(m_present->st_mode));
  if (m_isStream) return;
  m_path = WithoutLinks(name);
  if (m_present) RequireOwn(isOwn);
}

void COutputTarget::RequireOwn(IsOwn isOwn) const {
  if (m_present->st_size == 0 || isOwn(HeadOf(m_path))) return;
  throw CHostError(
      fmt::format("{} is there already, and qvthumbs did not write it; choose another name, or remove it first",
                  Printable(m_name)));
}

void COutputTarget::RequireOtherThan(const std::string& input) const {
  if (m_isStream || !m_present) return;
  struct stat status;
  if (stat(input.c_str(), &status) != 0 || !IsSame(status, *m_present)) return;
  throw CHostError(fmt::format("{} is one of the images that are read, and is not replaced; choose another name",
                               Printable(m_name)));
}

}  // namespace qvhost
