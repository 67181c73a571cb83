#include "host/rescue/table_shape.h"

#include <algorithm>
#include <cctype>

#include "host/session/database_form.h"

namespace qvhost {
namespace {

// What a column may hold: k nothing, because it is the row's number; T a text, t also nothing; J a whole number, I also
// nothing; R a number or nothing; B a blob or nothing; v a number, a text or nothing.
struct SShape {
  const char* name;
  std::string_view kinds;
};
constexpr std::array<SShape, kTables> kShapes = {{{"experiments", "kRBBII"},
                                                  {"history", "TRIt"},
                                                  {"stored", "kItI"},
                                                  {"merged", "TtRt"},
                                                  {"cache", "TRJBI"},
                                                  {"metadata", "T"}}};  // and v for all others

const SShape& ShapeOf(ETable table) { return kShapes[static_cast<std::size_t>(table)]; }

char KindAt(ETable table, std::size_t column) {
  const std::string_view kinds = ShapeOf(table).kinds;
  return column < kinds.size() ? kinds[column] : 'v';
}

bool IsKind(char kind, const SRecordValue& value) {
  const bool isWhole = value.kind == EValueKind::Integer;
  switch (kind) {
    case 'T':
      return value.kind == EValueKind::Text;
    case 'J':
      return isWhole;
    case 't':
      return value.IsNull() || value.kind == EValueKind::Text;
    case 'k':
    case 'I':
      return value.IsNull() || isWhole;
    case 'R':
      return value.IsNull() || isWhole || value.kind == EValueKind::Real;
    case 'B':
      return value.IsNull() || value.kind == EValueKind::Blob;
    default:
      return value.kind != EValueKind::Blob;
  }
}

std::string Lower(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return lower;
}

std::vector<std::string> SplitWords(std::string_view text) {
  std::vector<std::string> words;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find(' ', at), text.size());
    if (end > at) words.emplace_back(text.substr(at, end - at));
    at = end + 1;
  }
  return words;
}

// The column that a definition of a table's list begins with, in lower case, without quotes.
std::string FirstWord(std::string_view definition) {
  constexpr std::string_view kBlanks = " \t\r\n";
  const std::size_t begin = definition.find_first_not_of(kBlanks);
  if (begin == definition.npos) return {};
  std::string word = Lower(definition.substr(begin, definition.find_first_of(" \t\r\n(", begin) - begin));
  const auto isQuote = [](char c) { return c == '"' || c == '`' || c == '[' || c == ']' || c == '\''; };
  word.erase(std::remove_if(word.begin(), word.end(), isQuote), word.end());
  return word;
}

// The columns of a CREATE TABLE statement, in lower case. What binds the table as a whole stands behind them.
std::vector<std::string> ColumnsOfStatement(std::string_view statement) {
  constexpr std::array<std::string_view, 5> kConstraints = {"primary", "unique", "check", "foreign", "constraint"};
  const std::size_t open = statement.find('(');
  if (open == statement.npos) return {};
  std::vector<std::string> columns;
  int depth = 0;
  for (std::size_t at = open + 1, begin = at; at < statement.size(); ++at) {
    const char c = statement[at];
    if (c == '(') ++depth;
    const bool isEnd = c == ')' && depth == 0;
    if (isEnd || (c == ',' && depth == 0)) {
      const std::string word = FirstWord(statement.substr(begin, at - begin));
      if (std::find(kConstraints.begin(), kConstraints.end(), word) != kConstraints.end()) break;
      columns.push_back(word);
      begin = at + 1;
    }
    if (isEnd) break;
    if (c == ')') --depth;
  }
  return columns;
}

CColumnOrder PlainOrder(std::size_t size) {
  CColumnOrder order(size);
  for (std::size_t i = 0; i < size; ++i) order[i] = static_cast<int>(i);
  return order;
}

std::vector<std::string> MakeColumns(ETable table) {
  if (table == ETable::Merged) return {"digest", "shard", "mergedAt", "settings"};
  std::vector<std::string> columns = SplitWords(ColumnsOfForm(NameOf(table)));
  if (table == ETable::History) columns.emplace_back("userID");  // which the oldest version lacks
  return columns;
}

std::vector<CColumnOrder> MakeOrders(ETable table) {
  const CColumnOrder plain = PlainOrder(ColumnsOf(table).size());
  if (table == ETable::History) return {{0, 2, 3, 1}, plain, {0, 1, 2, -1}};
  return {plain};
}

template <class T>
std::array<T, kTables> ForAllTables(T (*make)(ETable table)) {
  std::array<T, kTables> all;
  for (const ETable table : kAllTables) all[static_cast<std::size_t>(table)] = make(table);
  return all;
}

}  // namespace

const char* NameOf(ETable table) noexcept { return ShapeOf(table).name; }

bool FindTable(std::string_view name, ETable* table) {
  for (const ETable candidate : kAllTables) {
    if (Lower(name) != NameOf(candidate)) continue;
    *table = candidate;
    return true;
  }
  return false;
}

const std::vector<std::string>& ColumnsOf(ETable table) {
  static const auto all = ForAllTables(&MakeColumns);
  return all[static_cast<std::size_t>(table)];
}

const std::vector<CColumnOrder>& KnownOrders(ETable table) {
  static const auto all = ForAllTables(&MakeOrders);
  return all[static_cast<std::size_t>(table)];
}

CColumnOrder OrderOf(ETable table, const std::string& createStatement) {
  const std::vector<std::string> present = ColumnsOfStatement(createStatement);
  CColumnOrder order;
  for (const std::string& column : ColumnsOf(table)) {
    const auto found = std::find(present.begin(), present.end(), Lower(column));
    if (found == present.end() && column != "userID") return {};
    order.push_back(found == present.end() ? -1 : static_cast<int>(found - present.begin()));
  }
  return order;
}

bool FitRow(ETable table, const CColumnOrder& order, const CRecord& record, std::int64_t rowid, CRecord* row) {
  // A row is only shorter when it is older than the column that was added to the history.
  const auto last = static_cast<std::size_t>(*std::max_element(order.begin(), order.end()));
  if (record.size() + (table == ETable::History ? 1 : 0) <= last) return false;
  row->assign(order.size(), SRecordValue());
  for (std::size_t i = 0; i < order.size(); ++i) {
    const auto at = static_cast<std::size_t>(order[i]);
    if (order[i] >= 0 && at < record.size()) (*row)[i] = record[at];
    if (!IsKind(KindAt(table, i), (*row)[i])) return false;
    if (KindAt(table, i) == 'k') (*row)[i] = {EValueKind::Integer, rowid, 0.0, {}};
  }
  return true;
}

}  // namespace qvhost
