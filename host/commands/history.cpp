#include <fmt/format.h>

#include <algorithm>
#include <cstdio>

#include "host/commands/command.h"
#include "host/commands/history_add.h"
#include "host/commands/history_records.h"
#include "host/session/bookkeeping_rows.h"
#include "host/session/diagnostics.h"
#include "host/session/session.h"

namespace qvhost {
namespace {

struct SArguments {
  SDatabaseOptions database;
  std::string user;
  STimeRange range;
  int experiment = 0;
  bool json = false;
};

std::vector<SHistoryRecord> ReadRecordsByTime(CSession& session, const SArguments& arguments) {
  const CQvStringW user = CQvStringUtils::UTF8toW(arguments.user);
  std::vector<SHistoryRecord> records = ReadHistory(session, user, arguments.range.From(), arguments.range.To());
  std::sort(records.begin(), records.end(), [](const SHistoryRecord& a, const SHistoryRecord& b) {
    return a.time != b.time ? a.time < b.time : a.file < b.file;
  });
  return records;
}

void List(const SArguments& arguments) {
  CSession session;
  session.Open(arguments.database, EDatabaseNeed::Look);
  CTable table({"Acquired", "Experiment", "File"}, {false, true, false});
  CJson document = CJson::array();
  for (const SHistoryRecord& record : ReadRecordsByTime(session, arguments)) {
    const CJson experiment = record.experiment != 0 ? CJson(record.experiment) : CJson(nullptr);
    document.push_back(
        {{"acquired", JsonTime(record.time)}, {"experiment", experiment}, {"file", JsonText(record.file)}});
    table.Add({FormatTime(record.time), record.experiment != 0 ? std::to_string(record.experiment) : "-",
               Printable(record.file)});
  }
  PrintList(arguments.json, document, table, fmt::format("no history of {} in that time", Printable(arguments.user)));
}

void ListFiles(const SArguments& arguments) {
  CSession session;
  session.Open(arguments.database, EDatabaseNeed::Look);
  std::vector<CQvStringW> files;
  const CQvStringW user = CQvStringUtils::UTF8toW(arguments.user);
  RequireDone("the history cannot be read", [&] {
    return session.Service().GetHistoryFilenames(user.c_str(), arguments.experiment, arguments.range.From(),
                                                 arguments.range.To(), &files);
  });
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
  session.Open(arguments.database, EDatabaseNeed::Look);
  const double earliest = FindEarliestAcquisition(session);
  if (arguments.json) {
    PrintJson({{"earliest", JsonTime(earliest)}});
  } else {
    std::printf("%s\n", earliest > 0.0 ? FormatTime(earliest).c_str() : "no history");
  }
}

void Delete(const SArguments& arguments) {
  CSession session;
  session.Open(arguments.database, EDatabaseNeed::Change);
  const CBookkeepingRows rows(session.DatabasePath());
  const std::int64_t before = rows.CountHistory(arguments.experiment);
  const bool stored = rows.HasExperiment(arguments.experiment);
  if (before == 0 && !stored) throw NoSuchExperiment(arguments.experiment, kExitSomeFailed);
  RequireDone("the history cannot be deleted", [&] {
    return session.Service().DeleteHistory(arguments.range.From(), arguments.range.To(), arguments.experiment);
  });
  const std::int64_t deleted = before - rows.CountHistory(arguments.experiment);
  const bool gone = stored && !rows.HasExperiment(arguments.experiment);
  if (arguments.json) {
    PrintJson({{"deleted", deleted}, {"experimentDeleted", gone}});
  } else {
    std::printf("deleted %s of %s records%s\n", FormatCount(deleted).c_str(), FormatCount(before).c_str(),
                gone ? ", and the experiment, which no record refers to any more" : "");
  }
}

void AddListVerb(CCommand parent) {
  const auto arguments = std::make_shared<SArguments>();
  CCommand command = AddVerb(parent, "list", "List what a user acquired, by time",
                             "qvthumbs history list --user anna --since 2024-05-01", arguments, &List);
  AddRequired(command, "--user", &arguments->user, "Who acquired the images", "NAME");
  AddTimeRangeOptions(command, &arguments->range);
}

void AddFilesVerb(CCommand parent) {
  const auto arguments = std::make_shared<SArguments>();
  CCommand command = AddVerb(parent, "files", "List the files of a user's experiment",
                             "qvthumbs history files --user anna --experiment 3", arguments, &ListFiles);
  AddRequired(command, "--user", &arguments->user, "Who acquired the images", "NAME");
  AddRequired(command, "--experiment", &arguments->experiment, "The experiment's number", "ID");
  AddTimeRangeOptions(command, &arguments->range);
}

void AddDeleteVerb(CCommand parent) {
  const auto arguments = std::make_shared<SArguments>();
  CCommand command =
      AddVerb(parent, "delete", "Delete an experiment's records, of all users; the last one takes the experiment along",
              "qvthumbs history delete --experiment 3 --until 2024-01-01", arguments, &Delete);
  AddRequired(command, "--experiment", &arguments->experiment, "The experiment's number", "ID");
  AddTimeRangeOptions(command, &arguments->range);
}

}  // namespace

void AddHistoryCommand(CCommand program, SOutcome& outcome) {
  CCommand command = program.AddVerb("history", "Who acquired which image when");
  command.RequireVerb();
  command.SetFooter(
      "Example: what did Anna acquire in May?\n"
      "  qvthumbs history list --user anna --since 2024-05-01 --until 2024-06-01");
  AddHistoryAddCommand(command, outcome);
  AddListVerb(command);
  AddFilesVerb(command);
  AddVerb(command, "earliest", "Print the earliest time of all users", "qvthumbs history earliest",
          std::make_shared<SArguments>(), &Earliest);
  AddDeleteVerb(command);
}

}  // namespace qvhost
