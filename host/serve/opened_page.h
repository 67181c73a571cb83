#pragma once

#include <string>

namespace qvhost {

// Opens an address in the user's browser. What a program is started with every user of the machine can see, so the
// browser is given a page on the disk that leads to the address, and that only this user can read.
class COpenedPage {
 public:
  // Does not wait for the browser. Throws CHostError when there is nothing that opens pages.
  explicit COpenedPage(const std::string& address);
  COpenedPage(const COpenedPage&) = delete;
  COpenedPage& operator=(const COpenedPage&) = delete;
  // Removes the page.
  ~COpenedPage();

 private:
  std::string m_path;
};

}  // namespace qvhost
