#pragma once

#include <memory>
#include <string>

#include "host/session/database_copy.h"
#include "host/session/sqlite.h"
#include "host/shards/shard_manifest.h"

namespace qvhost {

// A database that is to be merged into another one. It is only read.
class CShardSource {
 public:
  // With `partial` one without a manifest, or with one of unfinished work, will do. Throws CHostError with the reason
  // why it cannot be merged.
  CShardSource(const std::string& path, bool partial);

  const std::string& Path() const noexcept { return m_path; }
  // To attach it.
  const std::string& Uri() const noexcept { return m_uri; }
  // Without a manifest: empty.
  const SShardSettings& Settings() const noexcept { return m_settings; }
  std::int64_t Thumbnails() const noexcept { return m_thumbnails; }
  // Of the view that its thumbnails were made with (session/view_mark.h).
  std::int32_t ViewMark() const noexcept { return m_viewMark; }

 private:
  void RequireFinished(bool partial);
  void Look();

  const std::string m_path;
  std::unique_ptr<CDatabaseCopy> m_copy;
  std::string m_uri;
  SShardSettings m_settings;
  std::int64_t m_thumbnails = 0;
  std::int32_t m_viewMark = 0;
};

}  // namespace qvhost
