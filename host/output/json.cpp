#include "host/output/json.h"

#include <cstdio>

#include "host/output/text.h"

namespace qvhost {

CJson JsonTime(double julianDay) {
  const std::string text = FormatIsoTime(julianDay);
  return text.empty() ? CJson(nullptr) : CJson(text);
}

void PrintJson(const CJson& document) {
  std::printf("%s\n", document.dump(2, ' ', false, CJson::error_handler_t::replace).c_str());
}

}  // namespace qvhost
