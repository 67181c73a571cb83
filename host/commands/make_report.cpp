#include "host/commands/make_report.h"

#include <fmt/format.h>

#include <cstdio>

#include "host/host_error.h"
#include "host/output/json.h"
#include "host/output/text.h"

namespace qvhost {

void CMakeReport::OnThumbnail(const SThumbnailJob& job, bool made, const SQvPicBuf&) {
  ++(made ? m_made : m_cached);
  m_progress.Update(Done(), job.name);
}

void CMakeReport::OnFailed(const std::string& name, const std::string& reason) {
  ++m_failed;
  m_failures.emplace_back(name, reason);
  if (m_output != EMakeOutput::Json) m_progress.PrintLine(fmt::format("failed: {}: {}", Printable(name), reason));
  m_progress.Update(Done(), name);
}

int CMakeReport::Print(const std::string& databasePath, bool completed) {
  const double seconds = m_progress.Seconds();
  m_progress.Finish();
  if (m_output == EMakeOutput::Json) {
    CJson failures = CJson::array();
    for (const auto& [name, reason] : m_failures) failures.push_back({{"file", name}, {"reason", reason}});
    CJson document = {{"made", m_made},          {"alreadyCached", m_cached}, {"failed", m_failed},
                      {"failures", failures},    {"seconds", seconds},        {"interrupted", !completed},
                      {"database", databasePath}};
    if (m_fromCatalog) document["fromCatalog"] = *m_fromCatalog;
    PrintJson(std::move(document));
  } else if (m_output == EMakeOutput::All) {
    const std::string catalog =
        m_fromCatalog ? fmt::format(" ({} from the catalogue)", FormatCount(*m_fromCatalog)) : std::string();
    std::printf("%smade %s, already cached %s%s, failed %s in %s\n",
                completed ? "" : "interrupted: ", FormatCount(m_made).c_str(), FormatCount(m_cached).c_str(),
                catalog.c_str(), FormatCount(m_failed).c_str(), FormatDuration(seconds).c_str());
  }
  if (!completed) return kExitInterrupted;
  return m_failed > 0 ? kExitSomeFailed : kExitOk;
}

}  // namespace qvhost
