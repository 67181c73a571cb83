#include "host/shards/shard_source.h"

#include <fmt/format.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "host/files/image_file.h"
#include "host/host_error.h"
#include "host/output/text.h"
#include "host/session/database_form.h"
#include "host/session/view_mark.h"
#include "host/shards/merge_record.h"
#include "host/shards/shard_lock.h"

namespace qvhost {
namespace {

namespace fs = std::filesystem;

bool MayWrite(const fs::path& path) {
  return access(path.c_str(), W_OK) == 0 && access(path.parent_path().c_str(), W_OK) == 0;
}

bool HasLog(const fs::path& path) {
  for (const char* tail : {"-wal", "-journal"}) {
    std::error_code error;
    const std::uintmax_t size = fs::file_size(path.string() + tail, error);
    if (!error && size > 0) return true;
  }
  return false;
}

// Byte 18 of the header is 2 in write-ahead mode (SQLite's file format).
bool IsInWriteAheadMode(const fs::path& path) {
  constexpr std::streamoff kWriteVersion = 18;
  std::ifstream file(path, std::ios::binary);
  return file.seekg(kWriteVersion) && file.get() == 2;
}

// Whatever the name holds.
std::string UriOf(const std::string& path, const char* parameters) {
  std::string uri = "file:";
  for (const char c : path) {
    const auto byte = static_cast<unsigned char>(c);
    const bool isPlain = (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z') ||
                         byte == '/' || byte == '.' || byte == '_' || byte == '-';
    uri += isPlain ? std::string(1, c) : fmt::format("%{:02X}", byte);
  }
  return uri + "?" + parameters;
}

[[noreturn]] void Refuse(const std::string& reason) { throw CHostError(reason, kExitSomeFailed); }

}  // namespace

std::optional<std::string> FindReadingUri(const std::string& path) {
  std::error_code error;
  const fs::path real = fs::canonical(path, error);
  if (error) return UriOf(path, "mode=ro");
  if (MayWrite(real)) return UriOf(real.string(), "mode=rw");
  if (HasLog(real)) return std::nullopt;
  // To read in write-ahead mode SQLite writes an index beside the file; it needs none where nobody can write.
  return UriOf(real.string(), IsInWriteAheadMode(real) ? "immutable=1" : "mode=ro");
}

CShardSource::CShardSource(const std::string& path, bool partial) : m_path(path) {
  if (const std::string reason = ExplainOpenFailure(path); !reason.empty()) Refuse(reason);
  if (CShardLock::IsHeld(path)) Refuse("is being made; merge it when that is done");
  std::optional<std::string> uri = FindReadingUri(path);
  if (!uri) {
    m_copy = std::make_unique<CDatabaseCopy>(path);
    uri = UriOf(m_copy->Path(), "mode=rw");
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
    m_mark = ReadViewMark(db);
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
