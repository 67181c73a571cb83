#include "host/commands/merge_report.h"

#include <fmt/format.h>

#include <cstdio>

#include "host/host_error.h"
#include "host/output/text.h"

namespace qvhost {
namespace {

std::string BooksText(const SBookkeepingCounts& books) {
  std::string text;
  if (books.history > 0) text += fmt::format(", {} history records", FormatCount(books.history));
  if (books.experiments > 0) text += fmt::format(", {} experiments", FormatCount(books.experiments));
  if (books.stored > 0) text += fmt::format(", {} stored items", FormatCount(books.stored));
  if (books.keptHistory > 0)
    text += fmt::format("; {} {} the record", FormatCountOf(books.keptHistory, "file"),
                        books.keptHistory == 1 ? "keeps" : "keep");
  return text;
}

std::string ShardText(const SMergedShard& merged) {
  if (merged.wasMerged) return "was merged before";
  return fmt::format("added {}, replaced {}, kept {}{}", FormatCount(merged.counts.added),
                     FormatCount(merged.counts.replaced), FormatCount(merged.counts.kept), BooksText(merged.books));
}

CJson ToJson(const std::string& shard, const SMergedShard& merged) {
  return {{"shard", shard},
          {"mergedBefore", merged.wasMerged},
          {"added", merged.counts.added},
          {"replaced", merged.counts.replaced},
          {"kept", merged.counts.kept},
          {"textInformation", merged.counts.texts},
          {"history", merged.books.history},
          {"historyKept", merged.books.keptHistory},
          {"experiments", merged.books.experiments},
          {"storedItems", merged.books.stored}};
}

}  // namespace

void CMergeReport::Begin(std::int64_t thumbnails) { m_progress = std::make_unique<CProgress>(thumbnails, m_json); }

void CMergeReport::OnThumbnail(const std::string& name) { m_progress->Update(++m_looked, name); }

void CMergeReport::OnMerged(const std::string& shard, const SMergedShard& merged) {
  ++(merged.wasMerged ? m_before : m_merged);
  m_counts.added += merged.counts.added;
  m_counts.replaced += merged.counts.replaced;
  m_counts.kept += merged.counts.kept;
  m_shards.push_back(ToJson(shard, merged));
  if (!m_json) m_progress->PrintLine(fmt::format("{}: {}", Printable(shard), ShardText(merged)));
}

void CMergeReport::OnFailed(const std::string& shard, const std::string& reason) {
  m_failures.push_back({{"shard", shard}, {"reason", reason}});
  if (!m_json) std::fprintf(stderr, "qvthumbs: %s: %s\n", Printable(shard).c_str(), reason.c_str());
}

int CMergeReport::Print(const std::string& database, bool completed) {
  const double seconds = m_progress ? m_progress->Seconds() : 0.0;
  if (m_progress) m_progress->Finish();
  if (m_json) {
    PrintJson({{"database", database},
               {"added", m_counts.added},
               {"replaced", m_counts.replaced},
               {"kept", m_counts.kept},
               {"shards", m_shards},
               {"failures", m_failures},
               {"seconds", seconds},
               {"interrupted", !completed}});
  } else {
    std::printf("%smerged %s, %s merged before, failed %s: added %s, replaced %s, kept %s in %s\n",
                completed ? "" : "interrupted: ", FormatCountOf(m_merged, "shard").c_str(),
                FormatCount(m_before).c_str(), FormatCount(static_cast<std::int64_t>(m_failures.size())).c_str(),
                FormatCount(m_counts.added).c_str(), FormatCount(m_counts.replaced).c_str(),
                FormatCount(m_counts.kept).c_str(), FormatDuration(seconds).c_str());
  }
  if (!completed) return kExitInterrupted;
  return m_failures.empty() ? kExitOk : kExitSomeFailed;
}

}  // namespace qvhost
