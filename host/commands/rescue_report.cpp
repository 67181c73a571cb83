#include "host/commands/rescue_report.h"

#include <fmt/format.h>

#include <cstdio>

#include "host/host_error.h"
#include "host/output/json.h"
#include "host/output/text.h"

namespace qvhost {
namespace {

// What people call the rows of a table.
const char* TitleOf(ETable table) {
  switch (table) {
    case ETable::Experiments:
      return "experiments";
    case ETable::History:
      return "history records";
    case ETable::Stored:
      return "stored items";
    case ETable::Merged:
      return "merged shards";
    case ETable::Cache:
      return "thumbnails";
    case ETable::Metadata:
      break;
  }
  return "text informations";
}

CJson ToJson(ETable table, const STableSalvage& found) {
  CJson files = CJson::array();
  for (const std::string& key : found.lostKeys) files.push_back(key);
  CJson document = {{"table", NameOf(table)},
                    {"read", found.read},
                    {"leftOut", found.leftOut},
                    {"lost", found.lost},
                    {"complete", found.isComplete}};
  if (table == ETable::History) document["lostFiles"] = files;
  return document;
}

void PrintJsonOf(const SRescueOutcome& outcome) {
  CJson tables = CJson::array();
  for (const ETable table : kAllTables) tables.push_back(ToJson(table, outcome.salvage.Of(table)));
  PrintJson({{"old", outcome.oldFile},
             {"new", outcome.newFile.empty() ? CJson() : CJson(outcome.newFile)},
             {"tables", tables},
             {"recordsWithoutExperiment", outcome.withoutExperiment},
             {"headerSound", outcome.isHeaderSound},
             {"all", outcome.salvage.IsAll()},
             {"seconds", outcome.seconds}});
}

void PrintTable(const SSalvage& salvage) {
  CTable table({"", "read", "lost", "left out"}, {false, true, true, true});
  for (const ETable each : kAllTables) {
    const STableSalvage& found = salvage.Of(each);
    if (each == ETable::Merged && found.read == 0 && found.IsAll()) continue;
    const char* more = found.isComplete ? "" : found.lost == 0 ? " or more" : "+";
    table.Add({TitleOf(each), FormatCount(found.read), FormatCount(found.lost) + more, FormatCount(found.leftOut)});
  }
  table.Print();
}

void PrintLostFiles(const STableSalvage& history) {
  if (history.lostKeys.empty()) return;
  std::printf("lost are the records of:\n");
  for (std::size_t i = 0; i < history.lostKeys.size() && i < kMaxListed; ++i) {
    std::printf("  %s\n", Printable(history.lostKeys[i]).c_str());
  }
  const std::string omitted = FormatOmitted(history.lostKeys.size(), "files");
  if (!omitted.empty()) std::printf("  %s\n", omitted.c_str());
}

void PrintText(const SRescueOutcome& outcome) {
  PrintTable(outcome.salvage);
  PrintLostFiles(outcome.salvage.Of(ETable::History));
  if (outcome.withoutExperiment > 0) {
    std::printf("%s without an experiment now, because theirs is lost\n",
                FormatCountOf(outcome.withoutExperiment, "record is", "records are").c_str());
  }
  if (!outcome.isHeaderSound) {
    std::printf(
        "the beginning of the file is lost; if its thumbnails are of other planes than the default, it is not "
        "known any more\n");
  }
  const bool isAll = outcome.salvage.IsAll();
  const std::string time = FormatDuration(outcome.seconds);
  if (outcome.newFile.empty()) {
    std::printf("%s can be read (in %s); nothing was written\n", isAll ? "everything" : "this much", time.c_str());
  } else {
    std::printf(
        "%s is in %s now (in %s)%s\n", isAll ? "everything" : "what could be read", Printable(outcome.newFile).c_str(),
        time.c_str(),
        isAll ? "" : "; 'qvthumbs verify' with it checks the thumbnails, and 'qvthumbs make' makes missing ones");
  }
}

}  // namespace

int PrintRescue(const SRescueOutcome& outcome, bool json) {
  json ? PrintJsonOf(outcome) : PrintText(outcome);
  return outcome.salvage.IsAll() ? kExitOk : kExitSomeFailed;
}

}  // namespace qvhost
