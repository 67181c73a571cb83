#include "host/find/picture_query.h"

#include <fmt/format.h>
#include <sqlite3.h>

#include <algorithm>
#include <cstring>
#include <unordered_map>

#include "host/find/fact_filter.h"
#include "host/find/fact_store.h"
#include "host/find/search_words.h"
#include "host/find/sql_parts.h"
#include "host/session/interrupt.h"

namespace qvhost {
namespace {

bool IsAscii(const std::string& text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

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

std::vector<std::string> ReadSample(SQLite::Database& db) {
  SQLite::Statement rows(db, "SELECT text FROM sample");
  std::vector<std::string> texts;
  while (rows.executeStep()) texts.push_back(rows.getColumn(0).getString());
  return texts;
}

// What the texts' index is asked for: for all words that it can tell of, or nothing.
struct SWordsQuery {
  std::string match;
  bool isInNone = false;  // one of the words is in no text at all
};

SWordsQuery QueryOfWords(CSearchIndex& index, const std::vector<std::string>& words) {
  if (words.empty()) return {};
  SWordsQuery query{TrigramQuery(words, ReadSample(index.Connection()))};
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

// Whether few enough pictures lie below a folder that looking at each is the fastest.
bool IsSmallFolder(SQLite::Database& db, const std::string& under) {
  constexpr int kFew = 5000;
  SQLite::Statement row(db, "SELECT 1 FROM picture WHERE location >= ?1 AND location < ?2 LIMIT 1 OFFSET ?3");
  SQLite::bind(row, under, EndOfPrefix(under), kFew);
  return !row.executeStep();
}

std::string_view TextIn(sqlite3_value* value) {
  const auto* const text = reinterpret_cast<const char*>(sqlite3_value_text(value));
  return text ? std::string_view(text, static_cast<std::size_t>(sqlite3_value_bytes(value))) : std::string_view();
}

// Whether all words stand in a text behind its first characters.
bool HoldsAll(std::string_view text, std::int64_t skipped, const std::vector<std::string>& words) {
  for (; skipped > 0 && !text.empty(); --skipped) text.remove_prefix(NextCharacter(text, 0));
  return std::all_of(words.begin(), words.end(), [text](const std::string& word) {
    return memmem(text.data(), text.size(), word.data(), word.size()) != nullptr;
  });
}

std::vector<std::int64_t> PicturesWithFacts(CFactFilter& filter) {
  std::vector<std::int64_t> pictures;
  filter.ForEach([&pictures](std::int64_t picture) { pictures.push_back(picture); });
  return pictures;
}

// A query in SQL, its values beside it: of rows with the picture's number, location and row of texts.
class CQueryText {
 public:
  CQueryText(CSearchIndex& index, const CFolding& fold, const SPictureQuery& query)
      : m_db(index.Connection()), m_words(FoldWords(fold, query.words)), m_filter(m_db, fold, query) {
    const bool isSmall = !query.under.empty() && IsSmallFolder(m_db, query.under);
    const SWordsQuery asked = isSmall ? SWordsQuery() : QueryOfWords(index, m_words);
    if (asked.isInNone) {
      m_conditions = " AND 0";
    } else if (!asked.match.empty()) {
      m_tables = "words w CROSS JOIN picture p ON p.id = w.rowid";
      Add("words MATCH ?", asked.match);
      if (!m_filter.IsOpen()) AddFacts("w.rowid");
    } else if (!m_filter.IsOpen() && isSmall) {
      AddFacts("p.id");
    } else if (!m_filter.IsOpen()) {
      m_tables = "meeting m CROSS JOIN picture p ON p.id = m.rowid";
      m_meeting.emplace(m_db, "meeting", PicturesWithFacts(m_filter));
    } else if (query.under.empty()) {
      m_tables = "doc d CROSS JOIN picture p ON p.id = d.id";
    }
    AddFolder(query.under);
    AddWords(fold, query.under);
  }

  std::string Sql(std::int64_t limit) const {
    return fmt::format("SELECT p.id, p.location, p.textRow FROM {} WHERE 1{}", m_tables, m_conditions) +
           (limit > 0 ? fmt::format(" LIMIT {}", limit) : "");
  }

  void Bind(SQLite::Statement& statement) const {
    int number = 0;
    for (const std::string& value : m_values) statement.bind(++number, value);
  }

 private:
  void Add(const std::string& condition, std::string value) {
    m_conditions += " AND " + condition;
    m_values.push_back(std::move(value));
  }

  void AddFacts(const char* picture) {
    m_conditions += fmt::format(" AND meets({})", picture);
    m_meets.emplace(m_db, "meets", 1,
                    [this](sqlite3_value** values) { return m_filter.Meets(sqlite3_value_int64(values[0])); });
  }

  void AddFolder(const std::string& under) {
    if (under.empty()) return;
    Add("p.location >= ?", under);
    Add("p.location < ?", EndOfPrefix(under));
  }

  // A text begins with the location, folded. Words of ASCII that stand in the location stand in its folded form too,
  // and the text need not be read.
  void AddWords(const CFolding& fold, const std::string& under) {
    if (m_words.empty()) return;
    m_holds.emplace(m_db, "holds", 2, [this](sqlite3_value** values) {
      return HoldsAll(TextIn(values[0]), sqlite3_value_int64(values[1]), m_words);
    });
    const std::string inText = fmt::format("holds(d.text, {})", under.empty() ? 0 : CountCharacters(fold(under)));
    if (m_tables.starts_with("doc d")) {
      m_conditions += " AND " + inText;
      return;
    }
    m_conditions += " AND (";
    if (std::all_of(m_words.begin(), m_words.end(), &IsAscii)) {
      m_conditions += fmt::format("holds(p.location, {}) OR ", CountCharacters(under));
    }
    m_conditions += fmt::format("EXISTS (SELECT 1 FROM doc d WHERE d.id = p.id AND {}))", inText);
  }

  SQLite::Database& m_db;
  const std::vector<std::string> m_words;
  CFactFilter m_filter;
  std::string m_tables = "picture p";
  std::string m_conditions;
  std::vector<std::string> m_values;
  std::optional<CSqlTest> m_meets, m_holds;
  std::optional<CSqlNumbers> m_meeting;
};

// Hands over the rows of a query: the statement stands on one.
void FindRows(CSearchIndex& index, const CFolding& folding, const SPictureQuery& query,
              const std::function<void(const SQLite::Statement& row)>& take) {
  const CQueryText text(index, folding, query);
  SQLite::Statement rows(index.Connection(), text.Sql(query.limit));
  text.Bind(rows);
  while (rows.executeStep()) {
    CInterrupt::ThrowIfRequested("interrupted");
    take(rows);
  }
}

// Fills in what stands in other tables than the rows that are found.
class CFactReader {
 public:
  explicit CFactReader(SQLite::Database& db) : m_facts(db) {
    SQLite::Statement names(db, "SELECT id, text FROM name");
    while (names.executeStep()) m_names.emplace(names.getColumn(0).getInt64(), names.getColumn(1).getString());
  }

  SFoundPicture Read(const SQLite::Statement& row) {
    const CFacts facts = m_facts.Read(row.getColumn(0).getInt64());
    SFoundPicture found;
    found.location = row.getColumn(1).getString();
    found.textRow = row.getColumn(2).getInt64();
    found.channels = Known(facts[EFact::Channels]);
    found.z = Known(facts[EFact::Z]);
    found.t = Known(facts[EFact::T]);
    found.size = Known(facts[EFact::Size]);
    found.experiment = Known(facts[EFact::Experiment]);
    found.pixelSize = KnownReal(facts[EFact::PixelSize]);
    found.time = KnownReal(facts[EFact::Time]);
    found.objective = Name(facts[EFact::Objective]);
    found.user = Name(facts[EFact::User]);
    return found;
  }

 private:
  static std::optional<std::int64_t> Known(std::int64_t fact) {
    return fact == kUnknownFact ? std::nullopt : std::optional(fact);
  }
  static std::optional<double> KnownReal(std::int64_t fact) {
    return fact == kUnknownFact ? std::nullopt : std::optional(RealOfFact(fact));
  }
  std::string Name(std::int64_t fact) const {
    const auto name = m_names.find(fact);
    return name == m_names.end() ? std::string() : name->second;
  }

  CFactStore m_facts;
  std::unordered_map<std::int64_t, std::string> m_names;
};

}  // namespace

bool SPictureQuery::IsOpen() const {
  const bool isInRange =
      !channels.IsOpen() || !z.IsOpen() || !t.IsOpen() || !pixelSize.IsOpen() || !size.IsOpen() || !time.IsOpen();
  return words.empty() && !isInRange && objective.empty() && user.empty() && !experiment && under.empty();
}

void FindPictures(CSearchIndex& index, const CFolding& folding, const SPictureQuery& query,
                  const std::function<void(SFoundPicture picture)>& take) {
  CFactReader reader(index.Connection());
  FindRows(index, folding, query, [&](const SQLite::Statement& row) { take(reader.Read(row)); });
}

void FindLocations(CSearchIndex& index, const CFolding& folding, const SPictureQuery& query,
                   const std::function<void(std::string location)>& take) {
  FindRows(index, folding, query, [&](const SQLite::Statement& row) { take(row.getColumn(1).getString()); });
}

}  // namespace qvhost
