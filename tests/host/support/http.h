#pragma once

#include <map>
#include <string>

// Speaks HTTP with a server of this machine, byte by byte, so that requests may be anything.

struct SHttpAnswer {
  int status = 0;  // 0: the connection was closed without one
  std::string head, body;
};

class CHttpClient {
 public:
  // The address that the program printed: http://127.0.0.1:PORT/TOKEN/
  explicit CHttpClient(const std::string& address);

  // Of what stands behind the token, with these headers instead of the usual ones where they have their names.
  SHttpAnswer Get(const std::string& what, const std::map<std::string, std::string>& headers = {}) const;
  SHttpAnswer Post(const std::string& what, const std::string& body,
                   const std::map<std::string, std::string>& headers = {}) const;
  // Sends these bytes and reads until the server closes.
  SHttpAnswer Send(const std::string& bytes) const;

  const std::string& Prefix() const { return m_prefix; }  // "/TOKEN/"
  std::string Host() const { return std::string("127.0.0.1:").append(std::to_string(m_port)); }
  std::string Address() const { return std::string("http://").append(Host()).append(m_prefix); }
  int Port() const { return m_port; }

 private:
  SHttpAnswer Request(const std::string& method, const std::string& what, const std::string& body,
                      std::map<std::string, std::string> headers) const;

  int m_port = 0;
  std::string m_prefix;
};

// A stream of server-sent events.
class CEventReader {
 public:
  explicit CEventReader(const CHttpClient& client);
  CEventReader(const CEventReader&) = delete;
  CEventReader& operator=(const CEventReader&) = delete;
  ~CEventReader();

  // The data of the next event; empty when none comes within some seconds.
  std::string Next();

 private:
  int m_socket = -1;
  std::string m_read;
};
