#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "host/commands/command.h"
#include "host/commands/history_add.h"
#include "host/commands/history_edit.h"
#include "host/commands/history_records.h"
#include "host/output/time_text.h"
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
  std::vector<std::string> files;
  bool json = false, endedByZero = false, dryRun = false;
};

void List(const SArguments& arguments) {
  CSession session;
  session.Open(arguments.database, EDatabaseNeed::Look);
  CTable table({"Acquired", "User", "Experiment", "File"}, {false, false, true, false});
  CJson document = CJson::array();
  for (const SRecordedFile& record :
       ReadRecordsByTime(session, arguments.user, arguments.range.From(), arguments.range.To())) {
    document.push_back(RecordJson(record));
    table.Add({FormatTime(record.time), Printable(record.user),
               record.experiment != 0 ? std::to_string(record.experiment) : "-", Printable(record.file)});
  }
  const std::string whose = arguments.user.empty() ? "" : " of " + Printable(arguments.user);
  PrintList(arguments.json, document, table, fmt::format("no history{} in that time", whose));
}

void ListUsers(const SArguments& arguments) {
  CSession session;
  session.Open(arguments.database, EDatabaseNeed::Look);
  CTable table({"User", "Records", "First", "Last"}, {false, true, false, false});
  CJson document = CJson::array();
  for (const SHistoryUser& user : CBookkeepingRows(session.DatabasePath()).Users()) {
    document.push_back(UserJson(user));
    table.Add({Printable(user.name), FormatCount(user.records), FormatTime(user.first), FormatTime(user.last)});
  }
  PrintList(arguments.json, document, table, "no history");
}

void PrintNames(const std::vector<CQvStringW>& files, bool endedByZero) {
  for (const CQvStringW& file : files) {
    const std::string name = CQvStringUtils::WtoUTF8(file).Str();
    if (endedByZero) {
      std::fwrite(name.c_str(), 1, name.size() + 1, stdout);
    } else if (isatty(STDOUT_FILENO) == 1) {
      std::printf("%s\n", Printable(name).c_str());
    } else {
      std::printf("%s\n", name.c_str());  // unaltered, so that the list can be handed on to another program
    }
  }
}

void ListFiles(const SArguments& arguments) {
  CSession session;
  session.Open(arguments.database, EDatabaseNeed::Look);
  const CBookkeepingRows rows(session.DatabasePath());
  if (!rows.HasExperiment(arguments.experiment) && rows.CountHistory(arguments.experiment) == 0) {
    throw NoSuchExperiment(arguments.experiment);
  }
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
  }
  if (arguments.json) return PrintJson(document);
  PrintNames(files, arguments.endedByZero);
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
  session.Open(arguments.database, arguments.dryRun ? EDatabaseNeed::Look : EDatabaseNeed::Change);
  const CBookkeepingRows rows(session.DatabasePath());
  const std::int64_t before = rows.CountHistory(arguments.experiment);
  const bool stored = rows.HasExperiment(arguments.experiment);
  if (before == 0 && !stored) throw NoSuchExperiment(arguments.experiment);
  std::int64_t deleted = 0;
  if (arguments.dryRun) {
    const std::vector<SRecordedFile> records = rows.FindRecords(arguments.range.From(), arguments.range.To());
    deleted = std::count_if(records.begin(), records.end(),
                            [&](const SRecordedFile& record) { return record.experiment == arguments.experiment; });
  } else {
    RequireDone("the history cannot be deleted", [&] {
      return session.Service().DeleteHistory(arguments.range.From(), arguments.range.To(), arguments.experiment);
    });
    deleted = before - rows.CountHistory(arguments.experiment);
  }
  const bool gone = stored && (arguments.dryRun ? deleted == before : !rows.HasExperiment(arguments.experiment));
  if (arguments.json) {
    PrintJson({{arguments.dryRun ? "wouldDelete" : "deleted", deleted}, {"experimentDeleted", gone}});
  } else {
    std::printf("%s %s of %s%s\n", arguments.dryRun ? "would delete" : "deleted", FormatCount(deleted).c_str(),
                FormatCountOf(before, "record").c_str(),
                gone ? ", and the experiment, which no record refers to any more" : "");
  }
}

void AddListVerb(CCommand parent) {
  const auto arguments = std::make_shared<SArguments>();
  CCommand command = AddVerb(parent, "list", "List what was acquired, by time",
                             "qvthumbs history list --user anna --since 2024-05-01", arguments, &List);
  command.AddOption("--user", &arguments->user, "Who acquired the images (default: everybody)").Type("NAME");
  AddTimeRangeOptions(command, &arguments->range);
}

void AddFilesVerb(CCommand parent) {
  const auto arguments = std::make_shared<SArguments>();
  CCommand command = AddVerb(parent, "files", "List the files of a user's experiment",
                             "qvthumbs history files --user anna --experiment 3", arguments, &ListFiles);
  AddRequired(command, "--user", &arguments->user, "Who acquired the images", "NAME");
  AddRequired(command, "--experiment", &arguments->experiment, "The experiment's number", "ID");
  AddTimeRangeOptions(command, &arguments->range);
  command.AddFlag("-0,--null", &arguments->endedByZero, "End each name with a zero byte, as xargs -0 reads them");
}

void AddDeleteVerb(CCommand parent, SOutcome& outcome) {
  const auto arguments = std::make_shared<SArguments>();
  CCommand command =
      AddVerb(parent, "delete", "Delete the records of files, or an experiment's, of all users",
              "qvthumbs history delete --experiment 3 --until 2024-01-01\n  qvthumbs history delete cells.ome.tif",
              arguments, &Delete);
  COption experiment = command.AddOption("--experiment", &arguments->experiment, "The experiment's number");
  experiment.Type("ID");
  AddTimeRangeOptions(command, &arguments->range);
  COption files = command.AddOption("files", &arguments->files, "The files, which need not be there any more");
  files.Type("FILE").Excludes(experiment).FileNames();
  AddDryRunOption(command, &arguments->dryRun);
  command.SetFooter("The last record of an experiment takes the experiment along.\n\n" + command.GetFooter());
  command.SetWork([arguments, experiment, &outcome] {
    const bool isInRange = !arguments->range.since.empty() || !arguments->range.until.empty();
    if (arguments->files.empty() && !experiment.IsGiven()) throw CHostError("name the files, or give --experiment ID");
    if (!arguments->files.empty() && isInRange) throw CHostError("--since and --until go with --experiment only");
    if (arguments->files.empty()) return Delete(*arguments);
    DeleteRecordsOfFiles(arguments->database, arguments->files, arguments->dryRun, arguments->json, outcome);
  });
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
  AddVerb(command, "users", "List who is in the history", "qvthumbs history users", std::make_shared<SArguments>(),
          &ListUsers);
  AddHistoryAssignCommand(command, outcome);
  AddDeleteVerb(command, outcome);
}

}  // namespace qvhost
