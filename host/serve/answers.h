#pragma once

#include <functional>
#include <string>

#include "host/serve/folder_search.h"
#include "host/serve/live_thumbnails.h"
#include "host/serve/picture_process.h"
#include "host/serve/served_folder.h"
#include "host/session/session.h"

namespace qvhost {

// An answer to a request for something.
struct SAnswer {
  int status = 200;
  std::string type = "text/plain; charset=utf-8";
  std::string body;
};

// What a server of a folder is asked for, apart from how it is asked. Any thread.
class CAnswers {
 public:
  // The value of a parameter of the request; empty when it is not there.
  using CParameters = std::function<std::string(const char* name)>;

  CAnswers(CSession& session, const CServedFolder& folder, CPictureProcess& pictures, CLiveThumbnails& thumbnails,
           const std::string& title);

  // `what` stands behind the token in the address.
  SAnswer Get(const std::string& what, const CParameters& parameters);
  // What a client wants to see: {"client", "visible": [name], "next": [name]}.
  SAnswer Want(const std::string& body);

 private:
  SAnswer List(const std::string& name);
  SAnswer Search(const std::string& words);
  SAnswer Card(const std::string& path, const std::string& name);
  SAnswer Thumbnail(const std::string& path);
  SAnswer Picture(const std::string& path, const CParameters& parameters);

  CSession& m_session;
  const CServedFolder& m_folder;
  CPictureProcess& m_pictures;
  CLiveThumbnails& m_thumbnails;
  CFolderSearch m_search;
  const std::string m_page;
  const std::string m_script;
};

}  // namespace qvhost
