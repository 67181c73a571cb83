#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "host/commands/command.h"
#include "host/commands/history_add.h"
#include "host/files/image_file.h"
#include "host/output/json.h"
#include "host/output/text.h"
#include "host/session/bookkeeping_rows.h"
#include "host/session/diagnostics.h"
#include "host/session/session.h"
#include "system/qvstatus.h"

namespace qvhost {
namespace {

struct SArguments {
  SDatabaseOptions database;
  std::string user;
  STimeRange range;
  int experiment = 0;
  bool json = false;
};

struct SRecord {
  double time;
  int experiment;
  std::string file;
};

std::vector<SRecord> ReadRecords(CSession& session, const SArguments& arguments) {
  std::vector<int> experiments;
  std::vector<double> times;
  std::vector<CQvStringW> files;
  const CQvStringW user = CQvStringUtils::UTF8toW(arguments.user);
  if (session.Service().ReadHistory(user.c_str(), arguments.range.From(), arguments.range.To(), &experiments, &times,
                                    &files) != kQvOk) {
    throw CHostError("the history cannot be read: " + CDiagnostics::Get().Take());
  }
  std::vector<SRecord> records;
  for (std::size_t i = 0; i < times.size(); ++i) {
    records.push_back({times[i], experiments[i], CQvStringUtils::WtoUTF8(files[i]).Str()});
  }
  std::sort(records.begin(), records.end(),
            [](const SRecord& a, const SRecord& b) { return a.time != b.time ? a.time < b.time : a.file < b.file; });
  return records;
}

void List(const SArguments& arguments) {
  CSession session;
  session.Open(arguments.database, true);
  CTable table({"Acquired", "Experiment", "File"}, {false, true, false});
  CJson document = CJson::array();
  for (const SRecord& record : ReadRecords(session, arguments)) {
    const CJson experiment = record.experiment != 0 ? CJson(record.experiment) : CJson(nullptr);
    document.push_back({{"acquired", JsonTime(record.time)}, {"experiment", experiment}, {"file", record.file}});
    table.Add({FormatTime(record.time), record.experiment != 0 ? std::to_string(record.experiment) : "-",
               Printable(record.file)});
  }
  if (arguments.json) {
    PrintJson(document);
  } else if (table.IsEmpty()) {
    std::printf("no history of %s in that time\n", Printable(arguments.user).c_str());
  } else {
    table.Print();
  }
}

void ListFiles(const SArguments& arguments) {
  CSession session;
  session.Open(arguments.database, true);
  std::vector<CQvStringW> files;
  const CQvStringW user = CQvStringUtils::UTF8toW(arguments.user);
  if (session.Service().GetHistoryFilenames(user.c_str(), arguments.experiment, arguments.range.From(),
                                            arguments.range.To(), &files) != kQvOk) {
    throw CHostError("the history cannot be read: " + CDiagnostics::Get().Take());
  }
  std::sort(files.begin(), files.end());
  CJson document = CJson::array();
  for (const CQvStringW& file : files) {
    document.push_back(JsonText(file));
    // Unaltered, so that the list can be handed on to another program.
    if (!arguments.json) std::printf("%s\n", CQvStringUtils::WtoUTF8(file).c_str());
  }
  if (arguments.json) PrintJson(document);
}

void Earliest(const SArguments& arguments) {
  CSession session;
  session.Open(arguments.database, true);
  std::vector<int> experiments;
  std::vector<double> times;
  std::vector<CQvStringW> files;
  // This range asks for the earliest time of all users.
  if (session.Service().ReadHistory(L"", -1.0, -1.0, &experiments, &times, &files) != kQvOk) {
    throw CHostError("the history cannot be read: " + CDiagnostics::Get().Take());
  }
  const double earliest = times.empty() ? 0.0 : times.front();
  if (arguments.json) {
    PrintJson({{"earliest", JsonTime(earliest)}});
  } else {
    std::printf("%s\n", earliest > 0.0 ? FormatTime(earliest).c_str() : "no history");
  }
}

void Delete(const SArguments& arguments) {
  CSession session;
  session.Open(arguments.database, true);
  const CBookkeepingRows rows(session.DatabasePath());
  const std::int64_t before = rows.CountHistory(arguments.experiment);
  const bool stored = rows.HasExperiment(arguments.experiment);
  if (before == 0 && !stored) {
    throw CHostError(
        fmt::format("there is no experiment {}; 'qvthumbs experiments list' lists them", arguments.experiment),
        kExitSomeFailed);
  }
  if (session.Service().DeleteHistory(arguments.range.From(), arguments.range.To(), arguments.experiment) != kQvOk) {
    throw CHostError("the history cannot be deleted: " + CDiagnostics::Get().Take());
  }
  const std::int64_t deleted = before - rows.CountHistory(arguments.experiment);
  const bool gone = stored && !rows.HasExperiment(arguments.experiment);
  if (arguments.json) {
    PrintJson({{"deleted", deleted}, {"experimentDeleted", gone}});
  } else {
    std::printf("deleted %s of %s records%s\n", FormatCount(deleted).c_str(), FormatCount(before).c_str(),
                gone ? ", and the experiment, which no record refers to any more" : "");
  }
}

void AddUserOption(CLI::App* command, std::string* user) {
  AddOption(command, "--user", user, "Who acquired the images", {.type = "NAME", .required = true});
}

void AddList(CLI::App* parent) {
  const auto arguments = std::make_shared<SArguments>();
  CLI::App* command = AddVerb(parent, "list", "List what a user acquired, by time",
                              "qvthumbs history list --user anna --since 2024-05-01", arguments, &List);
  AddUserOption(command, &arguments->user);
  AddTimeRangeOptions(command, &arguments->range);
}

void AddFiles(CLI::App* parent) {
  const auto arguments = std::make_shared<SArguments>();
  CLI::App* command = AddVerb(parent, "files", "List the files of a user's experiment",
                              "qvthumbs history files --user anna --experiment 3", arguments, &ListFiles);
  AddUserOption(command, &arguments->user);
  AddOption(command, "--experiment", &arguments->experiment, "The experiment's number",
            {.type = "ID", .required = true});
  AddTimeRangeOptions(command, &arguments->range);
}

void AddDelete(CLI::App* parent) {
  const auto arguments = std::make_shared<SArguments>();
  CLI::App* command =
      AddVerb(parent, "delete", "Delete an experiment's records, of all users; the last one takes the experiment along",
              "qvthumbs history delete --experiment 3 --until 2024-01-01", arguments, &Delete);
  AddOption(command, "--experiment", &arguments->experiment, "The experiment's number",
            {.type = "ID", .required = true});
  AddTimeRangeOptions(command, &arguments->range);
}

}  // namespace

void AddHistoryCommand(CLI::App* app, SRun& run) {
  CLI::App* command = AddVerb(app, "history", "Who acquired which image when");
  RequireVerb(command);
  SetFooter(command,
            "Example: what did Anna acquire in May?\n"
            "  qvthumbs history list --user anna --since 2024-05-01 --until 2024-06-01");
  AddHistoryAddCommand(command, run);
  AddList(command);
  AddFiles(command);
  AddVerb(command, "earliest", "Print the earliest time of all users", "qvthumbs history earliest",
          std::make_shared<SArguments>(), &Earliest);
  AddDelete(command);
}

}  // namespace qvhost
