// Storing a new thumbnail: the time of the service's four statements, each from its preparation to its end, without the
// encoding and the look at the file that lie between them, against the same four statements issued bare.

#include <chrono>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>

#include "bench/service/support/cache.h"
#include "bench/service/support/detailed_picture.h"
#include "bench/service/support/paired.h"
#include "system/qvexport.h"
#include "tests/support/decode_rgb.h"
#include "tests/support/file_bytes.h"
#include "tests/support/next_function.h"
#include "tests/support/sql.h"
#include "tests/support/temp_folder.h"
#include "thumbnailcache/qvrelaxedsync.h"

namespace {

using namespace qvbench;
using qvtest::CSql;
using qvtest::CSqlStatement;
using CClock = std::chrono::steady_clock;

constexpr int kRounds = 15;
constexpr int kThumbnailsPerRound = 40;

// Follows the service through its four statements; on the thread that makes the thumbnail.
struct SStopwatch {
  bool watching = false;
  CClock::time_point start;
  CClock::duration total{};
  sqlite3_stmt* pictureInsert = nullptr;
  sqlite3_stmt* textInsert = nullptr;
  std::string textInsertSql;

  void Start() { start = CClock::now(); }
  void Stop() { total += CClock::now() - start; }
};
thread_local SStopwatch t_stopwatch;

bool StartsWith(const char* sql, const char* prefix) { return std::strncmp(sql, prefix, std::strlen(prefix)) == 0; }

}  // namespace

// These take the place of SQLite's in this program and the libraries that it loads.
extern "C" {

QV_EXPORT int sqlite3_prepare_v2(sqlite3* db, const char* sql, int size, sqlite3_stmt** statement, const char** tail) {
  static const auto real = qvtest::NextFunction<decltype(&sqlite3_prepare_v2)>("sqlite3_prepare_v2");
  if (t_stopwatch.watching && StartsWith(sql, "DELETE FROM ")) t_stopwatch.Start();
  const int result = real(db, sql, size, statement, tail);
  if (t_stopwatch.watching && StartsWith(sql, "INSERT INTO cache")) t_stopwatch.pictureInsert = *statement;
  if (t_stopwatch.watching && StartsWith(sql, "INSERT INTO metadata")) {
    t_stopwatch.textInsert = *statement;
    if (t_stopwatch.textInsertSql.empty()) t_stopwatch.textInsertSql = sql;
  }
  return result;
}

// The quality is bound last before the picture is encoded.
QV_EXPORT int sqlite3_bind_int(sqlite3_stmt* statement, int parameter, int value) {
  static const auto real = qvtest::NextFunction<decltype(&sqlite3_bind_int)>("sqlite3_bind_int");
  const int result = real(statement, parameter, value);
  if (t_stopwatch.watching && statement == t_stopwatch.pictureInsert && parameter == 4) t_stopwatch.Stop();
  return result;
}

QV_EXPORT int sqlite3_bind_blob(sqlite3_stmt* statement, int parameter, const void* data, int size,
                                void (*destroy)(void*)) {
  static const auto real = qvtest::NextFunction<decltype(&sqlite3_bind_blob)>("sqlite3_bind_blob");
  if (t_stopwatch.watching && statement == t_stopwatch.pictureInsert) t_stopwatch.Start();
  return real(statement, parameter, data, size, destroy);
}

QV_EXPORT int sqlite3_finalize(sqlite3_stmt* statement) {
  static const auto real = qvtest::NextFunction<decltype(&sqlite3_finalize)>("sqlite3_finalize");
  const int result = real(statement);
  if (t_stopwatch.watching && statement &&
      (statement == t_stopwatch.pictureInsert || statement == t_stopwatch.textInsert)) {
    t_stopwatch.Stop();
    t_stopwatch.pictureInsert = t_stopwatch.textInsert = nullptr;
  }
  return result;
}
}

namespace {

// The values of the rows that the service wrote, to be written again bare.
class CStoredRow {
 public:
  CStoredRow(const std::string& file, const char* sql) {
    const CSql db(file);
    CSqlStatement select(db, sql);
    if (!select.Row()) Fail("the service wrote no row");
    for (int i = 0; i < sqlite3_column_count(select.Handle()); ++i) {
      m_values.push_back(sqlite3_value_dup(sqlite3_column_value(select.Handle(), i)));
    }
  }
  CStoredRow(const CStoredRow&) = delete;
  CStoredRow& operator=(const CStoredRow&) = delete;
  ~CStoredRow() {
    for (sqlite3_value* value : m_values) sqlite3_value_free(value);
  }
  // From parameter `first` on; the key is the caller's.
  void Bind(CSqlStatement& statement, int first) const {
    for (std::size_t i = 0; i < m_values.size(); ++i) {
      sqlite3_bind_value(statement.Handle(), first + static_cast<int>(i), m_values[i]);
    }
  }

 private:
  std::vector<sqlite3_value*> m_values;
};

// A database that the service writes and one of the same tables that is written directly.
class CDatabasePair {
 public:
  CDatabasePair(const char* journalMode, bool relaxed) {
    for (const std::string& file : {Ours(), Bare()}) {
      CSql(file).Run(std::string("PRAGMA journal_mode=") + journalMode);
      const COpenCache cache(file);
    }
    std::optional<CQvRelaxedSync> sync;
    if (relaxed) sync.emplace();
    m_cache = std::make_unique<COpenCache>(Ours());
    sync.reset();
    m_bare = std::make_unique<CSql>(Bare());
    m_original = m_folder.Path("picture.jpg");
    qvtest::WriteFile(m_original, EncodeThumbnail(m_thumbnail));
    StoreThroughService();
    m_picture = std::make_unique<CStoredRow>(Ours(), "SELECT flags, lastWritten, quality, binData FROM cache LIMIT 1");
    m_texts = std::make_unique<CStoredRow>(Ours(), "SELECT * FROM metadata LIMIT 1");
    m_insertTexts = t_stopwatch.textInsertSql;
  }

  // Seconds that the statements of one thumbnail take.
  double StoreThroughService() {
    std::vector<SQvThumbnailDescription> descriptions;
    for (const std::string& name : LinkFiles()) {
      descriptions.push_back(Describe(CQvStringUtils::UTF8toW(name).Str()));
    }
    t_stopwatch = {};
    t_stopwatch.watching = true;
    (*m_cache)->RequestThumbnails(0, descriptions.data(), kThumbnailsPerRound, 0, false);
    t_stopwatch.watching = false;
    if (t_stopwatch.total.count() == 0) Fail("nothing was written");
    return std::chrono::duration<double>(t_stopwatch.total).count();
  }

  // With the same work around it and within it, so that it meets the same caches and the same journal of the file
  // system.
  double StoreDirectly() {
    double seconds = 0;
    for (const std::string& name : LinkFiles()) {
      benchmark::DoNotOptimize(qvtest::DecodeJpeg(qvtest::ReadFile(name)));
      seconds += WriteRows(name);
    }
    return seconds;
  }

 private:
  std::string Ours() const { return m_folder.Path("ours.db"); }
  std::string Bare() const { return m_folder.Path("bare.db"); }
  std::vector<std::string> LinkFiles() {
    std::vector<std::string> names;
    for (int i = 0; i < kThumbnailsPerRound; ++i) {
      names.push_back(m_folder.Path("picture-" + std::to_string(m_number++) + ".jpg"));
      std::filesystem::create_hard_link(m_original, names.back());
    }
    return names;
  }

  // As in the service, the picture is encoded after the first statement.
  double WriteRows(const std::string& name) {
    const double before = SecondsOf([&] {
      CSqlStatement(*m_bare, "DELETE FROM cache WHERE filename = :FN AND flags = :FL").Text(1, name).Int(2, 0).Done();
    });
    benchmark::DoNotOptimize(EncodeThumbnail(m_thumbnail));
    return before + SecondsOf([&] { InsertRows(name); });
  }

  void InsertRows(const std::string& name) {
    {
      CSqlStatement insert(*m_bare,
                           "INSERT INTO cache (filename, flags, lastWritten, quality, binData) "
                           "VALUES (:FN, :FL, :LW, :QU, :BD)");
      m_picture->Bind(insert, 2);
      insert.Text(1, name).Done();
    }
    CSqlStatement(*m_bare, "DELETE FROM metadata WHERE filename = :FN").Text(1, name).Done();
    CSqlStatement insert(*m_bare, m_insertTexts.c_str());
    m_texts->Bind(insert, 1);
    insert.Text(1, name).Done();
  }

  qvtest::CTempFolder m_folder;
  std::unique_ptr<COpenCache> m_cache;
  std::unique_ptr<CSql> m_bare;
  const qvtest::STestPicture m_thumbnail = MakeDetailedPicture(240, 180);
  std::string m_original;
  std::string m_insertTexts;
  std::unique_ptr<CStoredRow> m_picture, m_texts;
  int m_number = 0;
};

void StoreThumbnails(benchmark::State& state, const char* journalMode, bool relaxed, const SLimit& limit) {
  CDatabasePair databases(journalMode, relaxed);
  databases.StoreDirectly();
  CPairedRounds rounds(state, kThumbnailsPerRound, limit);
  for ([[maybe_unused]] auto _ : state) {
    const double bare = databases.StoreDirectly();
    rounds.Add(databases.StoreThroughService(), bare);
  }
}

constexpr SLimit kLikeBare = {EMeasure::RatioAtMost, 1.1};

BENCHMARK_CAPTURE(StoreThumbnails, delete, "delete", false, kLikeBare)
    ->Name("storing a thumbnail, default journal")
    ->Iterations(kRounds)
    ->UseManualTime();
BENCHMARK_CAPTURE(StoreThumbnails, wal, "wal", false, kLikeBare)
    ->Name("storing a thumbnail, write-ahead")
    ->Iterations(kRounds)
    ->UseManualTime();
// The other side waits.
BENCHMARK_CAPTURE(StoreThumbnails, relaxed, "wal", true, SLimit{EMeasure::RatioAtMost, 0.5})
    ->Name("storing a thumbnail, write-ahead, without waiting for the disk")
    ->Iterations(kRounds)
    ->UseManualTime();

}  // namespace
