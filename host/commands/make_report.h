#pragma once

#include <string>
#include <utility>
#include <vector>

#include "host/output/progress.h"
#include "host/thumbnails/thumbnail_jobs.h"

namespace qvhost {

// Counts what became of the wanted thumbnails, and shows the progress.
class CMakeReport : public IThumbnailObserver {
 public:
  // With `json` the failures are not printed as they come.
  CMakeReport(std::int64_t total, bool json) : m_json(json), m_progress(total, json) {}

  void OnThumbnail(const SThumbnailJob& job, bool made, const SQvPicBuf& picture) override;
  void OnFailed(const std::string& name, const std::string& reason) override;

  // The last line, or the document. Returns the command's exit status.
  int Print(const std::string& databasePath, bool completed);

  std::int64_t Made() const noexcept { return m_made; }
  std::int64_t AlreadyCached() const noexcept { return m_cached; }
  // Each failed one, and why.
  const std::vector<std::pair<std::string, std::string>>& Failures() const noexcept { return m_failures; }

 private:
  std::int64_t Done() const { return m_made + m_cached + m_failed; }

  const bool m_json;
  CProgress m_progress;
  std::int64_t m_made = 0, m_cached = 0, m_failed = 0;
  std::vector<std::pair<std::string, std::string>> m_failures;
};

}  // namespace qvhost
