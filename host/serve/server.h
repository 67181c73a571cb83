#pragma once

#include <memory>
#include <string>

#include "host/serve/picture_process.h"
#include "host/serve/served_folder.h"
#include "host/session/session.h"

namespace qvhost {

struct SServerOptions {
  int port = 0;  // 0: any that is free
  bool highQuality = false;
  std::string title;
};

// Shows a folder to browsers of this machine, on the loopback address only. It answers from its construction on, on
// threads of its own, until it goes; what it is given lives longer.
class CServer {
 public:
  // Throws CHostError when the port cannot be had.
  CServer(CSession& session, const CServedFolder& folder, CPictureProcess& pictures, const SServerOptions& options);
  CServer(const CServer&) = delete;
  CServer& operator=(const CServer&) = delete;
  ~CServer();

  // What to open in a browser.
  std::string Address() const;

 private:
  class CImpl;
  std::unique_ptr<CImpl> m_impl;
};

}  // namespace qvhost
