#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "host/session/sqlite.h"

namespace qvhost {

// Texts as they are searched: lower case without accents, every row of blanks, controls and line ends one blank. What a
// text contains, its folded form contains folded. Done by SQLite's own tokenizer. One thread.
class CFolding {
 public:
  // Throws CHostError when this SQLite cannot search texts.
  CFolding();

  // Bytes that are no UTF-8 become U+FFFD.
  std::string operator()(std::string_view text) const;

 private:
  struct SState;
  std::shared_ptr<SState> m_state;
};

}  // namespace qvhost
