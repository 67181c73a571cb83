#include "host/shards/catalog.h"

#include <fmt/format.h>

#include "host/files/image_file.h"
#include "host/host_error.h"
#include "host/output/text.h"
#include "host/session/database_error.h"
#include "host/session/database_form.h"
#include "host/session/view_mark.h"
#include "host/shards/merge_record.h"
#include "host/shards/reading_uri.h"

namespace qvhost {
namespace {

[[noreturn]] void RefuseCatalog(const std::string& path, const std::string& reason) {
  throw CHostError(fmt::format("the catalogue {} cannot be used: {}", Printable(path), reason));
}

// The catalogue as the program's URI for SQLite.
std::string CatalogUri(const std::string& path) {
  if (const std::string reason = ExplainOpenFailure(path); !reason.empty()) RefuseCatalog(path, reason);
  if (HasLog(path)) {
    RefuseCatalog(path, "it is being written, or was; 'qvthumbs merge --publish' makes one that nobody writes");
  }
  return UnchangingUri(AbsolutePath(path));
}

SQLite::Database OpenCatalog(const std::string& path, std::int32_t viewMark, const SShardSettings& settings) {
  try {
    SQLite::Database db = OpenConnection(CatalogUri(path), SQLite::OPEN_READONLY | SQLite::OPEN_URI);
    if (const std::string mark = FindForeignForm(db); !mark.empty() || !db.tableExists("cache")) {
      RefuseCatalog(path, "it is no thumbnail database");
    }
    if (ReadViewMark(db) != viewMark) {
      RefuseCatalog(path, "its thumbnails show another choice of planes, times, positions or channels");
    }
    const std::string difference = FindDifference(ReadMergedSettings(db).value_or(settings), settings);
    if (!difference.empty()) RefuseCatalog(path, difference);
    return db;
  } catch (const SQLite::Exception& error) {
    RefuseCatalog(path, error.what());
  }
}

SQLite::Database OpenOwn(const std::string& own) {
  SQLite::Database db = OpenConnection(own, SQLite::OPEN_READWRITE | SQLite::OPEN_URI);
  // What is lost with the power can be copied again. In write-ahead mode nothing is damaged by that.
  if (db.execAndGet("PRAGMA main.journal_mode").getString() == "wal") db.exec("PRAGMA main.synchronous = NORMAL");
  return db;
}

SQLite::Database& Attach(SQLite::Database& own, const std::string& catalog) {
  SQLite::Statement attach(own, "ATTACH DATABASE ?1 AS source");
  attach.bind(1, CatalogUri(catalog));
  attach.exec();
  return own;
}

}  // namespace

CCatalog::CCatalog(const std::string& path, const std::string& own, const SShardSettings& settings)
    : m_own(OpenOwn(own)), m_rows(OpenCatalog(path, ReadViewMark(m_own), settings)), m_merger(Attach(m_own, path)) {}

bool CCatalog::Supply(const SQvThumbnailDescription& wanted) {
  try {
    if (!m_rows.IsCurrent(wanted)) return false;
    SQLite::Transaction transaction(m_own, SQLite::TransactionBehavior::IMMEDIATE);
    SMergeCounts counts;
    m_merger.MergeFile(CCacheRows::NameOf(wanted), &counts);
    transaction.commit();
    ++m_supplied;
    return true;
  } catch (const SQLite::Exception& error) {
    // What cannot be taken from the catalogue can be made.
    if (!IsLastingError(error.what())) return false;
    throw CHostError("stopped: " + ErrorText(error), kExitSomeFailed);
  }
}

}  // namespace qvhost
