#pragma once

#include <string>

#include "system/qvstring.h"

namespace qvhost {

// A text of the database that was stored as UTF-16, where a byte that is no UTF-8 stands as a private-use character.
inline CQvStringW NameOfUtf16Row(const std::string& name) {
  return CQvStringUtils::UTF16toW(CQvStringUtils::WtoUTF16(CQvStringUtils::UTF8toW(name).c_str()));
}

}  // namespace qvhost
