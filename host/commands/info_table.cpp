#include "host/commands/info_table.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/host_error.h"
#include "host/output/suggestion.h"
#include "host/output/text.h"

namespace qvhost {
namespace {

constexpr const char* kFileField = "file";

std::vector<std::string> SplitAtCommas(const std::string& text) {
  std::vector<std::string> parts;
  for (std::size_t from = 0; from <= text.size();) {
    const std::size_t comma = std::min(text.find(',', from), text.size());
    parts.push_back(text.substr(from, comma - from));
    from = comma + 1;
  }
  return parts;
}

void RequireField(const std::string& name, const std::vector<std::string>& known) {
  if (std::find(known.begin(), known.end(), name) != known.end()) return;
  const std::string similar = FindSimilar(name, known);
  std::string list;
  for (const std::string& field : known) list += (list.empty() ? "" : ", ") + field;
  throw CHostError(fmt::format("there is no field '{}'.{} The fields are {}.", Printable(name),
                               similar.empty() ? "" : fmt::format(" Did you mean '{}'?", similar), list));
}

std::string ValueText(const CJson& value) {
  if (value.is_null()) return {};
  if (value.is_string()) return value.get<std::string>();
  return value.is_number_float() ? FormatNumber(value.get<double>()) : value.dump();
}

}  // namespace

CInfoTable::CInfoTable(const std::string& fields) {
  std::vector<std::string> known = STextInfo::FieldNames();
  known.insert(known.begin(), kFileField);
  if (fields.empty()) {
    m_fields = std::move(known);
    return;
  }
  m_fields = SplitAtCommas(fields);
  for (const std::string& field : m_fields) RequireField(field, known);
  if (std::find(m_fields.begin(), m_fields.end(), kFileField) == m_fields.end()) {
    m_fields.insert(m_fields.begin(), kFileField);
  }
}

CJson CInfoTable::Object(const std::string& file, const STextInfo& info) const {
  const CJson known = info.Fields();
  CJson object = CJson::object();
  for (const std::string& field : m_fields) {
    const auto found = known.find(field);
    object[field] = field == kFileField ? CJson(file) : found == known.end() ? CJson(nullptr) : *found;
  }
  return object;
}

std::vector<std::string> CInfoTable::Row(const std::string& file, const STextInfo& info) const {
  std::vector<std::string> row;
  const CJson object = Object(file, info);
  for (const auto& [name, value] : object.items()) row.push_back(ValueText(value));
  return row;
}

std::string CsvLine(const std::vector<std::string>& values) {
  std::string line;
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (i > 0) line += ',';
    if (values[i].find_first_of(",\"\r\n") == std::string::npos) {
      line += values[i];
      continue;
    }
    line += '"';
    for (const char c : values[i]) line += c == '"' ? std::string("\"\"") : std::string(1, c);
    line += '"';
  }
  return line;
}

}  // namespace qvhost
