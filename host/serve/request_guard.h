#pragma once

#include <string>
#include <string_view>

namespace qvhost {

// Which requests a server on the loopback address answers. Any program and any web page of this machine can reach it,
// so a request must know the token that stands in the address, and must mean this server by its name: a page of another
// site cannot read an answer, not even under a name that it lets point here.
class CRequestGuard {
 public:
  // With a new token.
  explicit CRequestGuard(int port);
  CRequestGuard(int port, std::string token) : m_port(port), m_token(std::move(token)) {}

  // "http://127.0.0.1:PORT/TOKEN/"
  std::string Address() const;
  // Of the Host header: this server's address or name, and its port.
  bool IsOwnHost(std::string_view host) const;
  // Of the Origin header; none at all is that of no page.
  bool IsOwnOrigin(std::string_view origin) const;
  // What stands behind the token: "" and "list" of "/TOKEN/" and "/TOKEN/list". False when the token is another one.
  bool TakeToken(std::string_view path, std::string* rest) const;

 private:
  int m_port;
  std::string m_token;
};

}  // namespace qvhost
