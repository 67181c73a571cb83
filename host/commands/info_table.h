#pragma once

#include <string>
#include <vector>

#include "host/files/text_info.h"

namespace qvhost {

// Chosen fields of images, a row for each.
class CInfoTable {
 public:
  // Of names with commas between them; all for an empty text. "file" may be among them and stands first otherwise.
  // Throws CHostError with a suggestion for a name that is none.
  explicit CInfoTable(const std::string& fields);

  const std::vector<std::string>& Fields() const noexcept { return m_fields; }
  // The names, or what they stand for in one image: texts as they are, null as nothing.
  std::vector<std::string> Header() const { return m_fields; }
  std::vector<std::string> Row(const std::string& file, const STextInfo& info) const;
  // The same as an object.
  CJson Object(const std::string& file, const STextInfo& info) const;

 private:
  std::vector<std::string> m_fields;
};

// A line of comma-separated values (RFC 4180), without its end.
std::string CsvLine(const std::vector<std::string>& values);

}  // namespace qvhost
