#include <fmt/format.h>

#include <filesystem>
#include <vector>

#include "host/commands/command.h"
#include "host/commands/merge_report.h"
#include "host/session/interrupt.h"
#include "host/session/session.h"
#include "host/session/view_mark.h"

namespace qvhost {
namespace {

struct SArguments {
  std::string target;
  std::vector<std::string> shards;
  SMergeOptions merge;
  bool partial = false, otherMounts = false, json = false;
};

void RequireOtherFiles(const SArguments& arguments) {
  for (const std::string& shard : arguments.shards) {
    std::error_code error;
    if (!std::filesystem::equivalent(arguments.target, shard, error)) continue;
    throw CHostError(
        fmt::format("{} would be merged into itself; name another file to merge into", Printable(arguments.target)));
  }
}

// Those that can be read; the others are told with their reasons.
std::vector<CShardSource> OpenShards(const SArguments& arguments, CMergeReport& report) {
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

// A new one is marked as the shards are. The service makes the tables, and knows what it makes now.
SShardSettings MakeTarget(const std::string& target, std::int32_t mark) {
  std::error_code error;
  const bool isNew = !std::filesystem::exists(target, error);
  if (isNew) MarkNewDatabase(target, mark);
  CSession session;
  session.Open({target, false}, EDatabaseNeed::Fill);
  const SShardSettings settings = CurrentSettings(session.Service(), {});
  session.Close();
  // One that many thumbnails are written to at once is better off without a log; one that is in use keeps its own way.
  if (isNew) OpenConnection(target, SQLite::OPEN_READWRITE).exec("PRAGMA journal_mode=DELETE");
  return settings;
}

class CShardsMerge {
 public:
  CShardsMerge(const SArguments& arguments, std::int32_t mark, CMergeReport& report)
      : m_arguments(arguments),
        m_report(report),
        m_current(MakeTarget(arguments.target, mark)),
        m_mark(ReadViewMark(OpenForReading(arguments.target))),
        m_merger(ChooseDatabase({arguments.target, false}).path),
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
    if (source.Mark() != m_mark) {
      return m_report.OnFailed(source.Path(), "its thumbnails show other planes or channels");
    }
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

  const SArguments& m_arguments;
  CMergeReport& m_report;
  const SShardSettings m_current;
  const std::int32_t m_mark;  // of the target
  CMerger m_merger;
  SShardSettings m_settings;
};

void MergeShards(const SArguments& arguments, SOutcome& outcome) {
  RequireOtherFiles(arguments);
  CMergeReport report(arguments.json);
  const std::vector<CShardSource> sources = OpenShards(arguments, report);
  bool completed = true;
  try {
    if (!sources.empty()) CShardsMerge(arguments, sources.front().Mark(), report).Run(sources);
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
  const auto arguments = std::make_shared<SArguments>();
  CCommand command = program.AddVerb("merge", "Put the thumbnails of several databases into one");
  command.AddFlag("--history", &arguments->merge.books, "Also history, experiments and stored items");
  command.AddFlag("--partial", &arguments->partial, "Also shards that are not finished, or have no manifest");
  command.AddFlag("--other-mounts", &arguments->otherMounts, "Also shards whose images lay on other mount points");
  command.AddFlag("--again", &arguments->merge.again, "Also shards that were merged before");
  AddJsonOption(command, &arguments->json);
  AddRequired(command, "out", &arguments->target, "The database to merge into; made when missing", "OUT");
  AddRequired(command, "shards", &arguments->shards, "The databases to read, of 'qvthumbs make --shard'", "SHARD");
  command.SetFooter(
      "The newer thumbnail of a file wins, of two of one time the one of higher quality. Each shard is merged whole\n"
      "or not at all, and once.\n\n"
      "Example: the shards of a list, made by several processes\n"
      "  qvthumbs merge lab.db lab.*-of-8.db");
  command.SetWork([arguments, &outcome] { MergeShards(*arguments, outcome); });
}

}  // namespace qvhost
