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

// Of a word of two characters the trigrams that begin with it. Nothing when so many texts hold one of them that all can
// be looked at instead.
std::optional<std::vector<std::string>> TrigramsOfPair(CSearchIndex& index, const std::string& word) {
  SQLite::Database& db = index.Connection();
  db.exec("CREATE VIRTUAL TABLE IF NOT EXISTS temp.trigram USING fts5vocab(main, words, row)");
  SQLite::Statement rows(db, "SELECT term, doc FROM temp.trigram WHERE term >= ?1 AND term < ?2");
  SQLite::bind(rows, word, EndOfPrefix(word));
  std::vector<std::string> trigrams;
  for (std::int64_t texts = 0; rows.executeStep();) {
    texts += rows.getColumn(1).getInt64();
    if (texts * 4 > index.NumberNote("pictures")) return std::nullopt;
    trigrams.push_back(rows.getColumn(0).getString());
  }
  return trigrams;
}

// What the texts' index is asked for: for all words that it can tell of, or nothing.
struct SWordsQuery {
  std::string match;
  bool isInNone = false;  // one of the words is in no text at all
};

SWordsQuery QueryOfWords(CSearchIndex& index, const std::vector<std::string>& words) {
  SWordsQuery query{TrigramQuery(words)};
  if (!query.match.empty()) return query;
  std::vector<std::vector<std::string>> ofPairs;
  for (const std::string& word : words) {
    if (CountCharacters(word) != 2) continue;
    const auto trigrams = TrigramsOfPair(index, word);
    if (!trigrams) continue;
    query.isInNone = query.isInNone || trigrams->empty();
    ofPairs.push_back(*trigrams);
  }
  if (!query.isInNone) query.match = PairQuery(ofPairs);
  return query;
}

// Puts a query together, its values beside it.
class CQueryText {
 public:
  CQueryText(CSearchIndex& index, const CFolding& fold, const SPictureQuery& query)
      : m_locationsOnly(query.locationsOnly) {
    const std::vector<std::string> words = FoldWords(fold, query.words);
    const SWordsQuery asked = QueryOfWords(index, words);
    if (asked.isInNone) m_conditions = " AND 0";
    if (!asked.match.empty()) {
      m_tables = {"words w", "fact f ON f.id = w.rowid", "doc d ON d.id = w.rowid", "picture p ON p.id = w.rowid"};
      Add("words MATCH ?", asked.match);
    } else if (!query.under.empty()) {
      m_tables = {"picture p", "fact f ON f.id = p.id", "doc d ON d.id = p.id"};
    } else {
      m_tables = {"fact f", "doc d ON d.id = f.id", "picture p ON p.id = f.id"};
    }
    AddFacts(fold, query);
    AddFolder(query.under);
    AddWords(words, query.under.empty() ? 0 : CountCharacters(fold(query.under)));
  }

  std::string Sql(std::int64_t limit) const {
    std::string sql = fmt::format("SELECT {} FROM {}", m_locationsOnly ? kLocation : kAllColumns, m_tables.front());
    for (auto table = m_tables.begin() + 1; table != m_tables.end(); ++table) {
      if (IsNeeded(*table)) sql += fmt::format(" CROSS JOIN {}", *table);
    }
    if (!m_locationsOnly) sql += " LEFT JOIN name o ON o.id = f.objective LEFT JOIN name u ON u.id = f.user";
    return sql + fmt::format(" WHERE 1{}", m_conditions) + (limit > 0 ? fmt::format(" LIMIT {}", limit) : "");
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

  static constexpr const char* kLocation = "p.location";
  static constexpr const char* kAllColumns =
      "p.location, f.channels, f.z, f.t, f.size, f.experiment, f.pixelSize, f.time, o.text, u.text, p.textRow";

  // Each costs a look for every picture; the picture itself has the location.
  bool IsNeeded(const std::string& table) const {
    if (table.starts_with("doc ")) return m_conditions.find("d.text") != m_conditions.npos;
    if (table.starts_with("fact ")) return !m_locationsOnly || m_conditions.find("f.") != m_conditions.npos;
    return true;
  }

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

  const bool m_locationsOnly;
  std::vector<std::string> m_tables;  // the first one leads
  std::string m_conditions;
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
  if (row.getColumnCount() == 1) return found;
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
  const CQueryText text(index, folding, query);
  SQLite::Statement rows(index.Connection(), text.Sql(query.limit));
  text.Bind(rows);
  while (rows.executeStep()) {
    CInterrupt::ThrowIfRequested("interrupted");
    take(FoundIn(rows));
  }
}

}  // namespace qvhost
