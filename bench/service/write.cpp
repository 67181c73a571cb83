// Storing a new thumbnail: the time of the service's four statements, each from its preparation to its end, without the
// encoding and the look at the file that lie between them, against the same four statements issued bare.

#include <dlfcn.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <memory>

#include "bench/service/support/cache.h"
#include "bench/service/support/paired.h"

namespace {

using namespace qvbench;
using CClock = std::chrono::steady_clock;

constexpr int kRounds = 15;
constexpr int kThumbnails = 40;  // in a round

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
thread_local SStopwatch t_watch;

template <class Function>
Function Real(Function, const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

bool StartsWith(const char* sql, const char* prefix) { return std::strncmp(sql, prefix, std::strlen(prefix)) == 0; }

}  // namespace

// These take the place of SQLite's in this program and the libraries that it loads.
extern "C" {

__attribute__((visibility("default"))) int sqlite3_prepare_v2(sqlite3* db, const char* sql, int size,
                                                              sqlite3_stmt** statement, const char** tail) {
  static const auto real = Real(&sqlite3_prepare_v2, "sqlite3_prepare_v2");
  if (t_watch.watching && StartsWith(sql, "DELETE FROM ")) t_watch.Start();
  const int result = real(db, sql, size, statement, tail);
  if (t_watch.watching && StartsWith(sql, "INSERT INTO cache")) t_watch.pictureInsert = *statement;
  if (t_watch.watching && StartsWith(sql, "INSERT INTO metadata")) {
    t_watch.textInsert = *statement;
    if (t_watch.textInsertSql.empty()) t_watch.textInsertSql = sql;
  }
  return result;
}

// The quality is bound last before the picture is encoded.
__attribute__((visibility("default"))) int sqlite3_bind_int(sqlite3_stmt* statement, int parameter, int value) {
  static const auto real = Real(&sqlite3_bind_int, "sqlite3_bind_int");
  const int result = real(statement, parameter, value);
  if (t_watch.watching && statement == t_watch.pictureInsert && parameter == 4) t_watch.Stop();
  return result;
}

__attribute__((visibility("default"))) int sqlite3_bind_blob(sqlite3_stmt* statement, int parameter, const void* data,
                                                             int size, void (*destroy)(void*)) {
  static const auto real = Real(&sqlite3_bind_blob, "sqlite3_bind_blob");
  if (t_watch.watching && statement == t_watch.pictureInsert) t_watch.Start();
  return real(statement, parameter, data, size, destroy);
}

__attribute__((visibility("default"))) int sqlite3_finalize(sqlite3_stmt* statement) {
  static const auto real = Real(&sqlite3_finalize, "sqlite3_finalize");
  const int result = real(statement);
  if (t_watch.watching && statement && (statement == t_watch.pictureInsert || statement == t_watch.textInsert)) {
    t_watch.Stop();
    t_watch.pictureInsert = t_watch.textInsert = nullptr;
  }
  return result;
}
}

namespace {

// The values of the rows that the service wrote, to be written again bare.
class CRow {
 public:
  CRow(const std::string& file, const char* sql) {
    CBareDatabase db(file);
    CBareStatement select(db.Get(), sql);
    if (!select.Row()) GiveUp("the service wrote no row");
    for (int i = 0; i < sqlite3_column_count(select.Get()); ++i) {
      m_values.push_back(sqlite3_value_dup(sqlite3_column_value(select.Get(), i)));
    }
  }
  CRow(const CRow&) = delete;
  CRow& operator=(const CRow&) = delete;
  ~CRow() {
    for (sqlite3_value* value : m_values) sqlite3_value_free(value);
  }
  // From parameter `first` on; the key is the caller's.
  void Bind(CBareStatement& statement, int first) const {
    for (std::size_t i = 0; i < m_values.size(); ++i) {
      sqlite3_bind_value(statement.Get(), first + static_cast<int>(i), m_values[i]);
    }
  }

 private:
  std::vector<sqlite3_value*> m_values;
};

class CScene {
 public:
  explicit CScene(const char* journalMode) {
    for (const std::string& file : {Ours(), Bare()}) {
      CBareDatabase(file).Run((std::string("PRAGMA journal_mode=") + journalMode).c_str());
      const COpenCache cache(file);
    }
    m_cache = std::make_unique<COpenCache>(Ours());
    m_bare = std::make_unique<CBareDatabase>(Bare());
    m_original = m_folder.File("picture.jpg");
    WriteFile(m_original, MakeJpeg(240, 180));
    WriteOurs();
    m_picture = std::make_unique<CRow>(Ours(), "SELECT flags, lastWritten, quality, binData FROM cache LIMIT 1");
    m_texts = std::make_unique<CRow>(Ours(), "SELECT * FROM metadata LIMIT 1");
    m_insertTexts = t_watch.textInsertSql;
  }

  // Seconds that the statements of one thumbnail take.
  double WriteOurs() {
    std::vector<SQvThumbnailDescription> descriptions;
    for (const std::string& name : LinkFiles()) {
      descriptions.push_back(Describe(CQvStringUtils::UTF8toW(name).Str()));
    }
    t_watch = {};
    t_watch.watching = true;
    (*m_cache)->RequestThumbnails(0, descriptions.data(), kThumbnails, 0, false);
    t_watch.watching = false;
    if (t_watch.total.count() == 0) GiveUp("nothing was written");
    return std::chrono::duration<double>(t_watch.total).count();
  }

  // With the same work around it and within it, so that it meets the same caches and the same journal of the file
  // system.
  double WriteBare() {
    double seconds = 0;
    for (const std::string& name : LinkFiles()) {
      std::vector<unsigned char> pixels;
      DecodeJpeg(ReadFile(name), &pixels);
      seconds += WriteBareRows(name);
    }
    return seconds;
  }

 private:
  std::string Ours() const { return m_folder.File("ours.db"); }
  std::string Bare() const { return m_folder.File("bare.db"); }
  std::vector<std::string> LinkFiles() {
    std::vector<std::string> names;
    for (int i = 0; i < kThumbnails; ++i) {
      names.push_back(m_folder.File("picture-" + std::to_string(m_number++) + ".jpg"));
      std::filesystem::create_hard_link(m_original, names.back());
    }
    return names;
  }

  // As in the service, the picture is encoded after the first statement.
  double WriteBareRows(const std::string& name) {
    const double before = SecondsOf([&] {
      CBareStatement(m_bare->Get(), "DELETE FROM cache WHERE filename = :FN AND flags = :FL")
          .Text(1, name)
          .Int(2, 0)
          .Done();
    });
    MakeJpeg(240, 180);
    return before + SecondsOf([&] { InsertBareRows(name); });
  }

  void InsertBareRows(const std::string& name) {
    {
      CBareStatement insert(m_bare->Get(),
                            "INSERT INTO cache (filename, flags, lastWritten, quality, binData) "
                            "VALUES (:FN, :FL, :LW, :QU, :BD)");
      m_picture->Bind(insert, 2);
      insert.Text(1, name).Done();
    }
    CBareStatement(m_bare->Get(), "DELETE FROM metadata WHERE filename = :FN").Text(1, name).Done();
    CBareStatement insert(m_bare->Get(), m_insertTexts.c_str());
    m_texts->Bind(insert, 1);
    insert.Text(1, name).Done();
  }

  CTempFolder m_folder;
  std::unique_ptr<COpenCache> m_cache;
  std::unique_ptr<CBareDatabase> m_bare;
  std::string m_original;
  std::string m_insertTexts;
  std::unique_ptr<CRow> m_picture, m_texts;
  int m_number = 0;
};

void Write(benchmark::State& state, const char* journalMode) {
  CScene scene(journalMode);
  scene.WriteBare();
  CPairedRounds rounds(state, kThumbnails, {EValue::RatioAtMost, 1.1});
  for ([[maybe_unused]] auto _ : state) {
    const double bare = scene.WriteBare();
    rounds.Add(scene.WriteOurs(), bare);
  }
}

BENCHMARK_CAPTURE(Write, delete, "delete")
    ->Name("storing a thumbnail, default journal")
    ->Iterations(kRounds)
    ->UseManualTime();
BENCHMARK_CAPTURE(Write, wal, "wal")->Name("storing a thumbnail, write-ahead")->Iterations(kRounds)->UseManualTime();

}  // namespace
