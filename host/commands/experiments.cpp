#include <fmt/format.h>

#include <cstdio>

#include "host/commands/command.h"
#include "host/commands/experiment_records.h"
#include "host/commands/experiment_text.h"
#include "host/files/image_experiment.h"
#include "host/files/image_file.h"
#include "host/output/text.h"
#include "host/output/time_text.h"
#include "host/session/bookkeeping_rows.h"
#include "host/session/diagnostics.h"
#include "host/session/session.h"
#include "host/session/stored_items.h"
#include "system/qvstatus.h"

namespace qvhost {
namespace {

struct SArguments {
  SDatabaseOptions database;
  std::vector<std::string> files;
  int stored = -1;
  int experiment = 0;
  bool json = false;
};

void RequireStoredItem(const SArguments& arguments, const CSession& session) {
  if (arguments.stored >= 0 && !CStoredItems(session.DatabasePath()).Find(arguments.stored)) {
    throw NoSuchStoredItem(arguments.stored);
  }
}

bool AddOne(const SArguments& arguments, CSession& session, const std::string& file, CJson* entry,
            std::string* reason) {
  const std::string path = AbsolutePath(file);
  SImageExperiment image;
  if (!image.Read(path, reason)) return false;
  if (!image.experiment) {
    *reason = "a single picture without acquisition loops; there is no experiment to store";
    return false;
  }
  int id = 0;
  if (!StoreExperiment(session, image, image.acquisitionTime, arguments.stored, &id, reason)) return false;
  *entry = {{"file", path},
            {"experiment", id},
            {"loops", SummarizeLoops(*image.experiment)},
            {"acquired", JsonTime(image.acquisitionTime)}};
  return true;
}

void Add(const SArguments& arguments, SOutcome& outcome) {
  CSession session;
  session.Open(arguments.database, EDatabaseNeed::Fill);
  RequireStoredItem(arguments, session);
  CJson document = CJson::array();
  for (const std::string& file : arguments.files) {
    CJson entry;
    std::string reason;
    if (!AddOne(arguments, session, file, &entry, &reason)) {
      ReportFailure(outcome, file, reason);
      continue;
    }
    if (!arguments.json) {
      std::printf("experiment %d: %s (%s)\n", entry["experiment"].get<int>(), entry["loops"].get<std::string>().c_str(),
                  Printable(file).c_str());
    }
    document.push_back(std::move(entry));
  }
  if (arguments.json) PrintJson(document);
}

void Show(const SArguments& arguments) {
  CSession session;
  session.Open(arguments.database, EDatabaseNeed::Look);
  const SExperimentRecord stored(session.Service(), arguments.experiment);
  if (!stored.experiment) throw NoSuchExperiment(arguments.experiment);
  if (arguments.json) return PrintJson(stored.Json(arguments.experiment));
  const std::string time = FormatTime(stored.time);
  std::printf("Experiment %d%s\n", arguments.experiment, time.empty() ? "" : (", acquired " + time).c_str());
  PrintExperiment(*stored.experiment, stored.planes);
}

std::vector<int> ListedIDs(const SArguments& arguments, CSession& session) {
  if (arguments.stored < 0) return CBookkeepingRows(session.DatabasePath()).ExperimentIDs();
  std::vector<int> ids;
  RequireDone("the experiments cannot be read",
              [&] { return session.Service().GetExperimentIDsByStoredID(arguments.stored, &ids); });
  return ids;
}

void List(const SArguments& arguments) {
  CSession session;
  session.Open(arguments.database, EDatabaseNeed::Look);
  RequireStoredItem(arguments, session);
  CTable table({"ID", "Acquired", "Loops", "Planes"}, {true, false, false, true});
  CJson document = CJson::array();
  for (const int id : ListedIDs(arguments, session)) {
    const SExperimentRecord stored(session.Service(), id);
    if (!stored.experiment) continue;
    document.push_back(stored.Summary(id));
    table.Add({std::to_string(id), FormatTime(stored.time), SummarizeLoops(*stored.experiment),
               std::to_string(stored.planes.planes.size())});
  }
  PrintList(arguments.json, document, table, "no experiments");
}

void AddStoredOption(CCommand command, int* stored, const char* description) {
  command.AddOption("--stored", stored, description).NotNegative().Type("ID");
}

void AddAddVerb(CCommand parent, SOutcome& outcome) {
  const auto arguments = std::make_shared<SArguments>();
  CCommand command = AddVerb(parent, "add", "Store the experiments of image files; equal ones are stored once",
                             "qvthumbs experiments add timelapse.ome.tif", arguments,
                             [&outcome](const SArguments& given) { Add(given, outcome); });
  AddStoredOption(command, &arguments->stored, "The stored item that the experiments belong to");
  AddRequired(command, "files", &arguments->files, "Image files", "FILE").FileNames();
}

void AddShowVerb(CCommand parent) {
  const auto arguments = std::make_shared<SArguments>();
  CCommand command = AddVerb(parent, "show", "Print one experiment with its loops and channels",
                             "qvthumbs experiments show 3", arguments, &Show);
  AddRequired(command, "id", &arguments->experiment, "The experiment's number", "ID");
}

void AddListVerb(CCommand parent) {
  const auto arguments = std::make_shared<SArguments>();
  CCommand command =
      AddVerb(parent, "list", "List the experiments", "qvthumbs experiments list --json", arguments, &List);
  AddStoredOption(command, &arguments->stored, "Only those of this stored item");
}

}  // namespace

void AddExperimentsCommand(CCommand program, SOutcome& outcome) {
  CCommand command = program.AddVerb("experiments", "How images were acquired: loops, positions, channels");
  command.RequireVerb();
  command.SetFooter(
      "Example: store the experiment of an image, then look at it\n"
      "  qvthumbs experiments add timelapse.ome.tif\n  qvthumbs experiments show 1");
  AddAddVerb(command, outcome);
  AddShowVerb(command);
  AddListVerb(command);
}

}  // namespace qvhost
