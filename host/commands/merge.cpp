#include <fmt/format.h>

#include <cstdio>
#include <filesystem>
#include <vector>

#include "host/commands/command.h"
#include "host/commands/merge_report.h"
#include "host/session/interrupt.h"
#include "host/session/session.h"
#include "host/shards/publication.h"

namespace qvhost {
namespace {

struct SMergeArguments {
  std::string target;
  std::vector<std::string> shards;
  SMergeOptions merge;
  bool publish = false, partial = false, otherMounts = false, json = false;
};

void RequireOtherFiles(const SMergeArguments& arguments) {
  for (const std::string& shard : arguments.shards) {
    std::error_code error;
    if (!std::filesystem::equivalent(arguments.target, shard, error)) continue;
    throw CHostError(
        fmt::format("{} would be merged into itself; name another file to merge into", Printable(arguments.target)));
  }
}

// Those that can be read; the others are told with their reasons.
std::vector<CShardSource> OpenShards(const SMergeArguments& arguments, CMergeReport& report) {
  std::vector<CShardSource> sources;
  for (const std::string& shard : arguments.shards) {
    CInterrupt::ThrowIfRequested("interrupted; nothing was merged");
    try {
      sources.emplace_back(shard, arguments.partial);
    } catch (const CHostError& error) {
      report.OnFailed(shard, error.what());
    }
  }
  return sources;
}

// The service makes the tables, and knows what it makes now.
SShardSettings MakeTarget(const std::string& target) {
  std::error_code error;
  const bool isNew = !std::filesystem::exists(target, error);
  CSession session;
  session.Open({target, false, {}}, EDatabaseNeed::Fill);
  const SShardSettings settings = CurrentSettings(session.Service(), {});
  session.Close();
  // One that many thumbnails are written to at once is better off without a log; one that is in use keeps its own way.
  if (isNew) OpenConnection(target, SQLite::OPEN_READWRITE).exec("PRAGMA journal_mode=DELETE");
  return settings;
}

class CShardsMerge {
 public:
  CShardsMerge(const SMergeArguments& arguments, const std::string& target, CMergeReport& report)
      : m_arguments(arguments),
        m_report(report),
        m_current(MakeTarget(target)),
        m_merger(ChooseDatabase({target, false, {}}).path),
        m_settings(m_merger.Settings().value_or(m_current)) {}

  void Run(const std::vector<CShardSource>& sources) {
    std::int64_t thumbnails = 0;
    for (const CShardSource& source : sources) thumbnails += source.Thumbnails();
    m_report.Begin(thumbnails);
    for (const CShardSource& source : sources) Merge(source);
  }

 private:
  // A shard without settings has those of today.
  SShardSettings SettingsOf(const CShardSource& source) const {
    SShardSettings settings = source.Settings();
    if (settings.values.empty()) settings.values = m_current.values;
    if (m_arguments.otherMounts) settings.mountPoints = m_settings.mountPoints;
    return settings;
  }

  void Merge(const CShardSource& source) {
    const SShardSettings settings = SettingsOf(source);
    if (const std::string difference = FindDifference(settings, m_settings); !difference.empty()) {
      const bool isMount = settings.values == m_settings.values;
      return m_report.OnFailed(source.Path(), difference + (isMount ? "; --other-mounts takes it all the same" : ""));
    }
    try {
      m_report.OnMerged(source.Path(), m_merger.Merge(source, settings, m_arguments.merge,
                                                      [this](const std::string& name) { m_report.OnThumbnail(name); }));
      m_settings = settings;
    } catch (const CHostError& error) {
      if (error.Status() == kExitInterrupted) throw;
      m_report.OnFailed(source.Path(), error.what());
    } catch (const SQLite::Exception& error) {
      throw CHostError(fmt::format("stopped at {}: {}", Printable(source.Path()), ErrorText(error)), kExitSomeFailed);
    }
  }

  const SMergeArguments& m_arguments;
  CMergeReport& m_report;
  const SShardSettings m_current;
  CMerger m_merger;
  SShardSettings m_settings;
};

// A merge into an empty database writes the rows in the order of their names. Of several databases that order is known
// only when all are together.
void Publish(const SMergeArguments& arguments, const std::vector<CShardSource>& sources, CMergeReport& report) {
  CPublication publication(arguments.target);
  if (sources.size() == 1) {
    CShardsMerge(arguments, publication.FilePath(), report).Run(sources);
  } else {
    CShardsMerge(arguments, publication.StagePath(), report).Run(sources);
    const CShardSource stage(publication.StagePath(), true);
    MakeTarget(publication.FilePath());
    CMerger(publication.FilePath()).Merge(stage, stage.Settings(), arguments.merge, [](const std::string&) {});
  }
  if (!report.HasFailures()) return publication.Commit();
  std::fprintf(stderr, "qvthumbs: nothing is published, because not all could be merged\n");
}

void MergeSources(const SMergeArguments& arguments, const std::vector<CShardSource>& sources, CMergeReport& report) {
  if (sources.empty()) return;
  if (arguments.publish) return Publish(arguments, sources, report);
  CShardsMerge(arguments, arguments.target, report).Run(sources);
}

void MergeShards(const SMergeArguments& arguments, SOutcome& outcome) {
  RequireOtherFiles(arguments);
  CMergeReport report(arguments.json);
  const std::vector<CShardSource> sources = OpenShards(arguments, report);
  bool completed = true;
  try {
    MergeSources(arguments, sources, report);
  } catch (const CHostError& error) {
    completed = false;
    if (error.Status() != kExitInterrupted) {
      report.Print(arguments.target, false);
      throw;
    }
  }
  outcome.status = report.Print(arguments.target, completed);
}

}  // namespace

void AddMergeCommand(CCommand program, SOutcome& outcome) {
  const auto arguments = std::make_shared<SMergeArguments>();
  CCommand command = program.AddVerb("merge", "Put the thumbnails of several databases into one");
  command.AddFlag("--publish", &arguments->publish,
                  "Write OUT as a new file for all to read, which is never written again");
  command.AddFlag("--history", &arguments->merge.books, "Also history, experiments and stored items");
  command.AddFlag("--partial", &arguments->partial, "Also shards that are not finished, or have no manifest");
  command.AddFlag("--other-mounts", &arguments->otherMounts, "Also shards whose images lay on other mount points");
  command.AddFlag("--again", &arguments->merge.again, "Also shards that were merged before");
  AddJsonOption(command, &arguments->json);
  AddRequired(command, "out", &arguments->target, "The database to merge into; made when missing", "OUT")
      .NotEmpty("an empty name is no file");
  AddRequired(command, "shards", &arguments->shards, "The databases to read, of 'qvthumbs make --shard'", "SHARD")
      .NotEmpty("an empty name is no file");
  command.SetFooter(
      "The newer thumbnail of a file wins, of two of one time the one of higher quality. Each shard is merged whole\n"
      "or not at all, and once.\n\n"
      "Example: the shards of a list, made by several processes\n"
      "  qvthumbs merge lab.db lab.*-of-8.db\n\n"
      "Example: what others read with 'qvthumbs make --catalog'\n"
      "  qvthumbs merge --publish /catalogs/lab-2026-11.db lab.db");
  command.SetWork([arguments, &outcome] { MergeShards(*arguments, outcome); });
}

}  // namespace qvhost
