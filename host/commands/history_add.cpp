#include "host/commands/history_add.h"

#include <fmt/format.h>

#include <cstdio>

#include "host/commands/acquisition.h"
#include "host/files/image_file.h"
#include "host/output/time_text.h"

namespace qvhost {
namespace {

struct SHistoryAddArguments {
  SDatabaseOptions database;
  std::string user;
  std::vector<std::string> files;
  std::string time;
  int experiment = kNoExperiment;
  bool json = false;
};

std::string TimeNote(const SAcquisition& acquisition) {
  const std::string source = acquisition.timeSource;
  if (source == "file date") return "  (time: the file's date)";
  return source == "recorded" ? "  (time: as recorded before)" : "";
}

void Print(const SAcquisition& acquisition) {
  std::printf("%s  experiment %s  %s%s\n", FormatTime(acquisition.time).c_str(),
              acquisition.experiment == kNoExperiment ? "-" : std::to_string(acquisition.experiment).c_str(),
              Printable(acquisition.path).c_str(), TimeNote(acquisition).c_str());
}

void Add(const SHistoryAddArguments& arguments, SOutcome& outcome) {
  if (arguments.user.empty()) throw CHostError("--user needs a name");
  CSession session;
  session.Open(arguments.database, EDatabaseNeed::Fill);
  const CBookkeepingRows rows(session.DatabasePath());
  if (arguments.experiment != kNoExperiment && !rows.HasExperiment(arguments.experiment)) {
    throw NoSuchExperiment(arguments.experiment);
  }
  const double time = arguments.time.empty() ? 0.0 : ParseTime(arguments.time, "--time");
  CJson document = CJson::array();
  for (const std::string& file : arguments.files) {
    SAcquisition acquisition{AbsolutePath(file), time, "", arguments.experiment};
    std::string reason;
    if (!RecordAcquisition(session, rows, arguments.user, &acquisition, &reason)) {
      ReportFailure(outcome, file, reason);
      continue;
    }
    document.push_back(AcquisitionJson(acquisition));
    if (!arguments.json) Print(acquisition);
  }
  if (arguments.json) PrintJson(document);
}

}  // namespace

void AddHistoryAddCommand(CCommand parent, SOutcome& outcome) {
  const auto arguments = std::make_shared<SHistoryAddArguments>();
  CCommand command = AddVerb(parent, "add", "Record image files as acquired by a user",
                             "qvthumbs history add --user anna cells.ome.tif", arguments,
                             [&outcome](const SHistoryAddArguments& given) { Add(given, outcome); });
  AddRequired(command, "--user", &arguments->user, "Who acquired them", "NAME");
  command.AddOption("--time", &arguments->time, "When (default: as the image says, else the file's date)").Type("TIME");
  command.AddOption("--experiment", &arguments->experiment, "With which experiment (default: the image's own)")
      .Positive()
      .Type("ID");
  AddRequired(command, "files", &arguments->files, "Image files", "FILE").FileNames();
  command.SetFooter("A file that is recorded already keeps its experiment, and its time unless you give another.\n\n" +
                    command.GetFooter());
}

}  // namespace qvhost
