#include <fmt/format.h>

#include <cstdio>

#include "host/commands/command.h"
#include "host/commands/experiment_text.h"
#include "host/files/image_experiment.h"
#include "host/files/image_file.h"
#include "host/output/text.h"
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

struct SStoredExperiment {
  CExperimentPtr experiment;  // null: no such experiment
  SQvPicturePlanes planes;
  double time = 0.0;

  SStoredExperiment(IQvThumbnailCache& service, int id) {
    SQvExperiment* read = nullptr;
    service.ReadExperiment(&read, &planes, &time, id);
    experiment.reset(read);
  }
};

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
  const std::int32_t result = session.Service().WriteExperiment(image.experiment.get(), &image.planes,
                                                                image.acquisitionTime, arguments.stored, &id);
  if (result != kQvOk) {
    *reason = fmt::format("the database did not take it: {}", CDiagnostics::Get().Take());
    return false;
  }
  *entry = {{"file", path},
            {"experiment", id},
            {"loops", SummarizeLoops(*image.experiment)},
            {"acquired", JsonTime(image.acquisitionTime)}};
  return true;
}

void Add(const SArguments& arguments, SRun& run) {
  CSession session;
  session.Open(arguments.database);
  if (arguments.stored >= 0 && !CStoredItems(session.DatabasePath()).Find(arguments.stored)) {
    throw CHostError(fmt::format("there is no stored item {}; 'qvthumbs stored tree' lists them", arguments.stored));
  }
  CJson document = CJson::array();
  for (const std::string& file : arguments.files) {
    CJson entry;
    std::string reason;
    if (!AddOne(arguments, session, file, &entry, &reason)) {
      ReportFailure(run, file, reason);
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

void Show(const SArguments& arguments, SRun&) {
  CSession session;
  session.Open(arguments.database, true);
  const SStoredExperiment stored(session.Service(), arguments.experiment);
  if (!stored.experiment) {
    throw CHostError(
        fmt::format("there is no experiment {}; 'qvthumbs experiments list' lists them", arguments.experiment),
        kExitSomeFailed);
  }
  if (arguments.json) {
    CJson document = {{"experiment", arguments.experiment}, {"acquired", JsonTime(stored.time)}};
    document["loops"] = ExperimentJson(*stored.experiment, stored.planes);
    PrintJson(document);
    return;
  }
  const std::string time = FormatTime(stored.time);
  std::printf("Experiment %d%s\n", arguments.experiment, time.empty() ? "" : (", acquired " + time).c_str());
  PrintExperiment(*stored.experiment, stored.planes);
}

std::vector<int> ListedIDs(const SArguments& arguments, CSession& session) {
  if (arguments.stored < 0) return CBookkeepingRows(session.DatabasePath()).ExperimentIDs();
  std::vector<int> ids;
  if (session.Service().GetExperimentIDsByStoredID(arguments.stored, &ids) != kQvOk) {
    throw CHostError("the experiments cannot be read: " + CDiagnostics::Get().Take());
  }
  return ids;
}

void List(const SArguments& arguments, SRun&) {
  CSession session;
  session.Open(arguments.database, true);
  CTable table({"ID", "Acquired", "Loops", "Planes"}, {true, false, false, true});
  CJson document = CJson::array();
  for (const int id : ListedIDs(arguments, session)) {
    const SStoredExperiment stored(session.Service(), id);
    if (!stored.experiment) continue;
    const std::string loops = SummarizeLoops(*stored.experiment);
    document.push_back({{"experiment", id},
                        {"acquired", JsonTime(stored.time)},
                        {"loops", loops},
                        {"planes", stored.planes.planes.size()}});
    table.Add({std::to_string(id), FormatTime(stored.time), loops, std::to_string(stored.planes.planes.size())});
  }
  if (arguments.json) {
    PrintJson(document);
  } else if (table.IsEmpty()) {
    std::printf("no experiments\n");
  } else {
    table.Print();
  }
}

void AddAdd(CLI::App* parent, SRun& run) {
  const auto arguments = std::make_shared<SArguments>();
  CLI::App* command = AddVerb(parent, "add", "Store the experiments of image files; equal ones are stored once");
  AddDatabaseOptions(command, &arguments->database);
  AddJsonOption(command, &arguments->json);
  AddOption(command, "--stored", &arguments->stored, "The stored item that the experiments belong to",
            {.type = "ID", .number = ENumber::NotNegative});
  AddOption(command, "files", &arguments->files, "Image files", {.type = "FILE", .required = true});
  SetFooter(command, "Example:\n  qvthumbs experiments add timelapse.ome.tif");
  SetWork(command, [arguments, &run] { Add(*arguments, run); });
}

void AddShow(CLI::App* parent, SRun& run) {
  const auto arguments = std::make_shared<SArguments>();
  CLI::App* command = AddVerb(parent, "show", "Print one experiment with its loops and channels");
  AddDatabaseOptions(command, &arguments->database);
  AddJsonOption(command, &arguments->json);
  AddOption(command, "id", &arguments->experiment, "The experiment's number", {.type = "ID", .required = true});
  SetFooter(command, "Example:\n  qvthumbs experiments show 3");
  SetWork(command, [arguments, &run] { Show(*arguments, run); });
}

void AddList(CLI::App* parent, SRun& run) {
  const auto arguments = std::make_shared<SArguments>();
  CLI::App* command = AddVerb(parent, "list", "List the experiments");
  AddDatabaseOptions(command, &arguments->database);
  AddJsonOption(command, &arguments->json);
  AddOption(command, "--stored", &arguments->stored, "Only those of this stored item",
            {.type = "ID", .number = ENumber::NotNegative});
  SetFooter(command, "Example:\n  qvthumbs experiments list --json");
  SetWork(command, [arguments, &run] { List(*arguments, run); });
}

}  // namespace

void AddExperimentsCommand(CLI::App* app, SRun& run) {
  CLI::App* command = AddVerb(app, "experiments", "How images were acquired: loops, positions, channels");
  RequireVerb(command);
  SetFooter(command,
            "Example: store the experiment of an image, then look at it\n"
            "  qvthumbs experiments add timelapse.ome.tif\n  qvthumbs experiments show 1");
  AddAdd(command, run);
  AddShow(command, run);
  AddList(command, run);
}

}  // namespace qvhost
