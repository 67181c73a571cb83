#pragma once

#include <string>
#include <string_view>

#include "system/qvstring.h"

namespace qvhost {

// A text of the database that was stored as UTF-16, where a byte that is no UTF-8 stands as a private-use character.
inline CQvStringW NameOfUtf16Row(const std::string& name) {
  return CQvStringUtils::UTF16toW(CQvStringUtils::WtoUTF16(CQvStringUtils::UTF8toW(name).c_str()));
}

// UTF-16 to UTF-8 as SQLite has it, which knows nothing of escaped bytes. A surrogate that stands alone becomes U+FFFD,
// and `isWhole` false, when it is given.
std::string PlainUtf8(std::u16string_view text, bool* isWhole = nullptr);

}  // namespace qvhost
