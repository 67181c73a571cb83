#include "host/find/picture_query.h"

#include <fmt/format.h>

#include <variant>

#include "host/find/search_words.h"
#include "host/session/interrupt.h"

namespace qvhost {
namespace {

// The behind-last of all texts that begin so.
std::string EndOfPrefix(std::string prefix) {
  ++prefix.back();
  return prefix;
}

// Puts a query together, its values beside it.
class CQueryText {
 public:
  CQueryText(const CFolding& fold, const SPictureQuery& query) {
    const std::vector<std::string> words = FoldWords(fold, query.words);
    const std::string trigrams = TrigramQuery(words);
    if (!trigrams.empty()) {
      m_tables =
          "words w CROSS JOIN fact f ON f.id = w.rowid CROSS JOIN doc d ON d.id = w.rowid "
          "CROSS JOIN picture p ON p.id = w.rowid";
      Add("words MATCH ?", trigrams);
    } else if (!query.under.empty()) {
      m_tables = "picture p CROSS JOIN fact f ON f.id = p.id CROSS JOIN doc d ON d.id = p.id";
    } else {
      m_tables = "fact f CROSS JOIN doc d ON d.id = f.id CROSS JOIN picture p ON p.id = f.id";
    }
    AddFacts(fold, query);
    AddFolder(query.under);
    AddWords(words, query.under.empty() ? 0 : CountCharacters(fold(query.under)));
  }

  std::string Sql(std::int64_t limit) const {
    return fmt::format(
        "SELECT p.location, f.channels, f.z, f.t, f.size, f.experiment, f.pixelSize, f.time, o.text, u.text, p.textRow "
        "FROM {} LEFT JOIN name o ON o.id = f.objective LEFT JOIN name u ON u.id = f.user WHERE 1{} {}",
        m_tables, m_conditions, limit > 0 ? fmt::format("LIMIT {}", limit) : "ORDER BY p.location");
  }

  void Bind(SQLite::Statement& statement) const {
    int number = 0;
    for (const CValue& value : m_values) {
      ++number;
      std::visit([&](const auto& each) { statement.bind(number, each); }, value);
    }
  }

 private:
  using CValue = std::variant<double, std::string, std::int64_t>;

  void Add(const std::string& condition, CValue value) {
    m_conditions += " AND " + condition;
    m_values.push_back(std::move(value));
  }

  void AddRange(const char* column, const SFactRange& range, const char* upTo = "<=") {
    if (range.least) Add(fmt::format("f.{} >= ?", column), *range.least);
    if (range.most) Add(fmt::format("f.{} {} ?", column, upTo), *range.most);
  }

  void AddFacts(const CFolding& fold, const SPictureQuery& query) {
    AddRange("channels", query.channels);
    AddRange("z", query.z);
    AddRange("t", query.t);
    AddRange("pixelSize", query.pixelSize);
    AddRange("size", query.size);
    AddRange("time", query.time, "<");
    if (query.experiment) Add("f.experiment = ?", std::int64_t{*query.experiment});
    if (!query.objective.empty()) {
      Add("f.objective IN (SELECT id FROM name WHERE instr(folded, ?) > 0)", fold(query.objective));
    }
    if (!query.user.empty()) Add("f.user IN (SELECT id FROM name WHERE folded = ?)", fold(query.user));
  }

  void AddFolder(const std::string& under) {
    if (under.empty()) return;
    Add("p.location >= ?", under);
    Add("p.location < ?", EndOfPrefix(under));
  }

  void AddWords(const std::vector<std::string>& words, std::size_t skipped) {
    const std::string text = skipped == 0 ? "d.text" : fmt::format("substr(d.text, {})", skipped + 1);
    for (const std::string& word : words) Add(fmt::format("instr({}, ?) > 0", text), word);
  }

  std::string m_tables, m_conditions;
  std::vector<CValue> m_values;
};

template <class T>
std::optional<T> Known(const SQLite::Column& column) {
  if (column.isNull()) return std::nullopt;
  if constexpr (std::is_same_v<T, double>) {
    return column.getDouble();
  } else {
    return column.getInt64();
  }
}

SFoundPicture FoundIn(const SQLite::Statement& row) {
  SFoundPicture found;
  found.location = row.getColumn(0).getString();
  found.channels = Known<std::int64_t>(row.getColumn(1));
  found.z = Known<std::int64_t>(row.getColumn(2));
  found.t = Known<std::int64_t>(row.getColumn(3));
  found.size = Known<std::int64_t>(row.getColumn(4));
  found.experiment = Known<std::int64_t>(row.getColumn(5));
  found.pixelSize = Known<double>(row.getColumn(6));
  found.time = Known<double>(row.getColumn(7));
  found.objective = row.getColumn(8).getString();
  found.user = row.getColumn(9).getString();
  found.textRow = row.getColumn(10).getInt64();
  return found;
}

}  // namespace

bool SPictureQuery::IsOpen() const {
  const bool isInRange =
      !channels.IsOpen() || !z.IsOpen() || !t.IsOpen() || !pixelSize.IsOpen() || !size.IsOpen() || !time.IsOpen();
  return words.empty() && !isInRange && objective.empty() && user.empty() && !experiment && under.empty();
}

void FindPictures(CSearchIndex& index, const CFolding& folding, const SPictureQuery& query,
                  const std::function<void(SFoundPicture picture)>& take) {
  const CQueryText text(folding, query);
  SQLite::Statement rows(index.Connection(), text.Sql(query.limit));
  text.Bind(rows);
  while (rows.executeStep()) {
    CInterrupt::ThrowIfRequested("interrupted");
    take(FoundIn(rows));
  }
}

}  // namespace qvhost
