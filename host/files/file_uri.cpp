#include "host/files/file_uri.h"

#include <fmt/format.h>

#include <charconv>
#include <filesystem>
#include <string_view>

#include "host/host_error.h"
#include "host/output/text.h"

namespace qvhost {
namespace {

constexpr std::string_view kFileScheme = "file:";

// Other programs hand on the URIs of what they show: trash, shares, archives.
bool HasScheme(std::string_view text) {
  const std::size_t end = text.find("://");
  if (end == text.npos || end < 2) return false;
  return text.substr(0, end).find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789+-.") ==
         text.npos;
}

[[noreturn]] void Refuse(const std::string& uri, const char* why) {
  throw CHostError(fmt::format("{}: {}", Printable(uri), why), kExitSomeFailed);
}

std::string WithoutPercents(const std::string& uri, std::string_view escaped) {
  std::string path;
  for (std::size_t i = 0; i < escaped.size(); ++i) {
    if (escaped[i] != '%') {
      path += escaped[i];
      continue;
    }
    unsigned byte = 0;
    const std::string_view digits = escaped.substr(i + 1, 2);
    const auto read = std::from_chars(digits.data(), digits.data() + digits.size(), byte, 16);
    if (digits.size() != 2 || read.ptr != digits.data() + 2 || byte == 0) Refuse(uri, "is no well-formed URI");
    path += static_cast<char>(byte);
    i += 2;
  }
  return path;
}

// "//localhost/path", "///path" and "/path".
std::string_view PathPart(const std::string& uri) {
  std::string_view rest = std::string_view(uri).substr(kFileScheme.size());
  if (!rest.starts_with("//")) return rest;
  rest.remove_prefix(2);
  const std::size_t slash = rest.find('/');
  const std::string_view host = rest.substr(0, slash);
  if (!host.empty() && host != "localhost") Refuse(uri, "is a file of another machine; copy it here first");
  return slash == rest.npos ? std::string_view() : rest.substr(slash);
}

}  // namespace

std::string PathOfUri(const std::string& text) {
  std::error_code error;
  if (!text.starts_with(kFileScheme)) {
    if (HasScheme(text) && !std::filesystem::exists(text, error)) Refuse(text, "is no file of this machine");
    return text;
  }
  if (std::filesystem::exists(std::filesystem::symlink_status(text, error))) return text;
  const std::string_view part = PathPart(text);
  if (!part.starts_with('/')) Refuse(text, "is no well-formed URI of a file: it needs a path from the root on");
  return WithoutPercents(text, part);
}

}  // namespace qvhost
