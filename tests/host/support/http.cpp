#include "tests/host/support/http.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>

namespace {

constexpr int kTimeoutSeconds = 20;

int Connect(int port) {
  const int made = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const timeval timeout = {kTimeoutSeconds, 0};
  setsockopt(made, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (connect(made, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return made;
  close(made);
  throw std::runtime_error("nobody listens");
}

}  // namespace

CHttpClient::CHttpClient(const std::string& address) {
  const std::string lead = "http://127.0.0.1:";
  if (!address.starts_with(lead)) throw std::runtime_error("no such address: " + address);
  m_port = std::atoi(address.c_str() + lead.size());
  const std::size_t path = address.find('/', lead.size());
  m_prefix = address.substr(path, address.find_first_of("\r\n", path) - path);
}

SHttpAnswer CHttpClient::Send(const std::string& bytes) const {
  const int made = Connect(m_port);
  send(made, bytes.data(), bytes.size(), MSG_NOSIGNAL);
  std::string read;
  char buffer[4096];
  for (ssize_t got; (got = recv(made, buffer, sizeof buffer, 0)) > 0;)
    read.append(buffer, static_cast<std::size_t>(got));
  close(made);
  SHttpAnswer answer;
  const std::size_t end = read.find("\r\n\r\n");
  if (!read.starts_with("HTTP/1.1 ") || end == read.npos) return answer;
  answer.status = std::atoi(read.c_str() + 9);
  answer.head = read.substr(0, end);
  answer.body = read.substr(end + 4);
  return answer;
}

SHttpAnswer CHttpClient::Request(const std::string& method, const std::string& what, const std::string& body,
                                 std::map<std::string, std::string> headers) const {
  headers.insert({{"Host", Host()}, {"Connection", "close"}});
  if (method == "POST") headers.insert({"Content-Length", std::to_string(body.size())});
  std::string request = method;
  request.append(" ").append(what.starts_with('/') ? what : m_prefix + what).append(" HTTP/1.1\r\n");
  for (const auto& [name, value] : headers) request.append(name).append(": ").append(value).append("\r\n");
  return Send(request.append("\r\n").append(body));
}

SHttpAnswer CHttpClient::Get(const std::string& what, const std::map<std::string, std::string>& headers) const {
  return Request("GET", what, {}, headers);
}

SHttpAnswer CHttpClient::Post(const std::string& what, const std::string& body,
                              const std::map<std::string, std::string>& headers) const {
  return Request("POST", what, body, headers);
}

CEventReader::CEventReader(const CHttpClient& client) : m_socket(Connect(client.Port())) {
  std::string request = "GET ";
  request.append(client.Prefix()).append("events HTTP/1.1\r\nHost: localhost:");
  request.append(std::to_string(client.Port())).append("\r\n\r\n");
  send(m_socket, request.data(), request.size(), MSG_NOSIGNAL);
}

CEventReader::~CEventReader() { close(m_socket); }

std::string CEventReader::Next() {
  constexpr std::size_t kLead = 6;
  for (;;) {
    const std::size_t begin = m_read.find("data: "), end = m_read.find("\n\n", begin);
    if (begin != m_read.npos && end != m_read.npos) {
      const std::string data = m_read.substr(begin + kLead, end - begin - kLead);
      m_read.erase(0, end);
      return data;
    }
    char buffer[4096];
    const ssize_t got = recv(m_socket, buffer, sizeof buffer, 0);
    if (got <= 0) return {};
    m_read.append(buffer, static_cast<std::size_t>(got));
  }
}
