#include "host/shards/shard_source.h"

#include <fmt/format.h>
#include "host/files/image_file.h"
#include "host/host_error.h"
#include "host/output/text.h"
#include "host/session/database_form.h"
#include "host/session/view_mark.h"
#include "host/shards/merge_record.h"
#include "host/shards/reading_uri.h"
#include "host/shards/shard_lock.h"

namespace qvhost {
namespace {

[[noreturn]] void Refuse(const std::string& reason) { throw CHostError(reason, kExitSomeFailed); }

}  // namespace

CShardSource::CShardSource(const std::string& path, bool partial) : m_path(path) {
  if (const std::string reason = ExplainOpenFailure(path); !reason.empty()) Refuse(reason);
  if (CShardLock::IsHeld(path)) Refuse("is being made; merge it when that is done");
  std::optional<std::string> uri = FindReadingUri(path);
  if (!uri) {
    m_copy = std::make_unique<CDatabaseCopy>(path);
    uri = *FindReadingUri(m_copy->Path());
  }
  m_uri = *uri;
  Look();
  RequireFinished(partial);
}

void CShardSource::Look() {
  try {
    SQLite::Database db = OpenConnection(m_uri, SQLite::OPEN_READWRITE | SQLite::OPEN_URI);
    if (const std::string mark = FindForeignForm(db); !mark.empty()) {
      Refuse(fmt::format("is another program's database ({})", Printable(mark)));
    }
    for (const char* table : {"cache", "metadata", "experiments", "history", "stored"}) {
      if (!db.tableExists(table)) Refuse(fmt::format("has no table '{}'", table));
    }
    m_thumbnails = db.execAndGet("SELECT count(*) FROM cache").getInt64();
    m_viewMark = ReadViewMark(db);
    m_settings = ReadMergedSettings(db).value_or(SShardSettings());
  } catch (const SQLite::Exception& error) {
    Refuse(fmt::format("cannot be read: {}", error.what()));
  }
}

// What was merged already has no manifest of its own.
void CShardSource::RequireFinished(bool partial) {
  const std::optional<SShardState> state = ReadManifest(m_path);
  if (state) m_settings = state->settings;
  if (partial || (state && state->isComplete) || (!state && !m_settings.values.empty())) return;
  Refuse(state ? "is not finished: run its 'qvthumbs make --shard' again, or merge with --partial"
               : "has no manifest beside it, as 'qvthumbs make --shard' writes it; --partial takes it as it is");
}

}  // namespace qvhost
