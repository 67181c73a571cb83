#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/output/progress.h"
#include "host/thumbnails/thumbnail_jobs.h"

namespace qvhost {

enum class EMakeOutput {
  All,       // progress, failures as they come, and a last line
  Failures,  // nothing but these
  Json,      // a document at the end
};

// Counts what became of the wanted thumbnails, and shows the progress.
class CMakeReport : public IThumbnailObserver {
 public:
  CMakeReport(std::int64_t total, EMakeOutput output)
      : m_output(output), m_progress(total, output != EMakeOutput::All) {}

  void OnThumbnail(const SThumbnailJob& job, bool made, const SQvPicBuf& picture) override;
  void OnFailed(const std::string& name, const std::string& reason) override;

  // Prints a line above the progress, whatever else is printed.
  void PrintLine(const std::string& line) { m_progress.PrintLine(line); }

  // How many of those that count as cached came from a catalogue now.
  void SetFromCatalog(std::int64_t count) noexcept { m_fromCatalog = count; }

  // The last line, or the document. Returns the command's exit status.
  int Print(const std::string& databasePath, bool completed);

  std::int64_t Made() const noexcept { return m_made; }
  std::int64_t AlreadyCached() const noexcept { return m_cached; }
  // Each failed one, and why.
  const std::vector<std::pair<std::string, std::string>>& Failures() const noexcept { return m_failures; }

 private:
  std::int64_t Done() const { return m_made + m_cached + m_failed; }

  const EMakeOutput m_output;
  CProgress m_progress;
  std::int64_t m_made = 0, m_cached = 0, m_failed = 0;
  std::optional<std::int64_t> m_fromCatalog;
  std::vector<std::pair<std::string, std::string>> m_failures;
};

}  // namespace qvhost
