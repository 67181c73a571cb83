#include "host/serve/request_guard.h"

#include <fmt/format.h>
#include <sys/random.h>

#include <array>

#include "host/host_error.h"

namespace qvhost {
namespace {

std::string NewToken() {
  std::array<unsigned char, 16> bytes;
  if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
    throw CHostError("the system gives no random numbers");
  }
  std::string token;
  for (const unsigned char byte : bytes) token += fmt::format("{:02x}", byte);
  return token;
}

// Takes as long however much of it is right.
bool IsSameSecret(std::string_view given, std::string_view secret) {
  if (given.size() != secret.size()) return false;
  unsigned difference = 0;
  for (std::size_t i = 0; i < secret.size(); ++i) difference |= static_cast<unsigned>(given[i] ^ secret[i]);
  return difference == 0;
}

}  // namespace

CRequestGuard::CRequestGuard(int port) : CRequestGuard(port, NewToken()) {}

std::string CRequestGuard::Address() const { return fmt::format("http://127.0.0.1:{}/{}/", m_port, m_token); }

bool CRequestGuard::IsOwnHost(std::string_view host) const {
  return host == fmt::format("127.0.0.1:{}", m_port) || host == fmt::format("localhost:{}", m_port);
}

bool CRequestGuard::IsOwnOrigin(std::string_view origin) const {
  constexpr std::string_view kScheme = "http://";
  return origin.empty() || (origin.starts_with(kScheme) && IsOwnHost(origin.substr(kScheme.size())));
}

bool CRequestGuard::TakeToken(std::string_view path, std::string* rest) const {
  if (!path.starts_with('/')) return false;
  const std::size_t end = path.find('/', 1);
  if (end == path.npos || !IsSameSecret(path.substr(1, end - 1), m_token)) return false;
  *rest = path.substr(end + 1);
  return true;
}

}  // namespace qvhost
