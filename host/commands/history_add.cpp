#include "host/commands/history_add.h"

#include <cmath>
#include <cstdio>

#include "host/commands/history_records.h"
#include "host/files/image_experiment.h"
#include "host/files/image_file.h"
#include "host/session/bookkeeping_rows.h"
#include "host/session/diagnostics.h"
#include "host/session/session.h"
#include "system/qvstatus.h"

namespace qvhost {
namespace {

// What a record without an experiment refers to; SQLite numbers experiments from 1.
constexpr int kNoExperiment = 0;

struct SArguments {
  SDatabaseOptions database;
  std::string user;
  std::vector<std::string> files;
  std::string time;
  int experiment = kNoExperiment;
  bool json = false;
};

// One acquisition on its way into the history.
struct SAcquisition {
  std::string path;
  double time = 0.0;
  const char* timeSource = "";  // where the time comes from
  int experiment = kNoExperiment;
};

bool FindTime(const SArguments& arguments, const SImageExperiment& image, SAcquisition* acquisition) {
  if (!arguments.time.empty()) {
    acquisition->time = ParseTime(arguments.time, "--time");
    acquisition->timeSource = "given";
    return true;
  }
  acquisition->time = image.acquisitionTime;
  acquisition->timeSource = "image";
  if (acquisition->time > 0.0) return true;
  SQvThumbnailDescription description;
  std::string reason;
  if (!DescribeFile(acquisition->path, false, &description, &reason)) return false;
  acquisition->time = description.lastWritten;
  acquisition->timeSource = "file date";
  return true;
}

// The record's experiment: a file that was recorded before keeps the one it had.
int RecordedExperiment(CSession& session, const CQvStringW& user, const SAcquisition& acquisition) {
  const CQvStringW path = CQvStringUtils::UTF8toW(acquisition.path);
  const double end = std::nextafter(acquisition.time, HUGE_VAL);
  for (const SHistoryRecord& record : ReadHistory(session, user, acquisition.time, end)) {
    if (record.file == path) return record.experiment;
  }
  return acquisition.experiment;
}

bool Record(const SArguments& arguments, CSession& session, const std::string& file, SAcquisition* acquisition,
            std::string* reason) {
  acquisition->path = AbsolutePath(file);
  acquisition->experiment = arguments.experiment;
  SImageExperiment image;
  if (!image.Read(acquisition->path, reason)) return false;
  if (!FindTime(arguments, image, acquisition)) {
    *reason = "tells no acquisition time; give one with --time";
    return false;
  }
  if (acquisition->experiment == kNoExperiment && image.experiment) {
    session.Service().WriteExperiment(image.experiment.get(), &image.planes, acquisition->time, -1,
                                      &acquisition->experiment);
  }
  const CQvStringW name = CQvStringUtils::UTF8toW(acquisition->path);
  const CQvStringW user = CQvStringUtils::UTF8toW(arguments.user);
  CDiagnostics::Get().TakeMessages();
  if (session.Service().WriteHistory(name.c_str(), user.c_str(), acquisition->time, acquisition->experiment) != kQvOk) {
    const std::string said = CDiagnostics::Get().TakeMessages();
    *reason = said.find("UNIQUE") != std::string::npos ? "is recorded for another user already; a file has one record"
                                                       : "the database did not take it: " + said;
    return false;
  }
  acquisition->experiment = RecordedExperiment(session, user, *acquisition);
  return true;
}

void Print(const SAcquisition& acquisition) {
  std::printf("%s  experiment %s  %s%s\n", FormatTime(acquisition.time).c_str(),
              acquisition.experiment == kNoExperiment ? "-" : std::to_string(acquisition.experiment).c_str(),
              Printable(acquisition.path).c_str(),
              acquisition.timeSource == std::string("file date") ? "  (time: the file's date)" : "");
}

void Add(const SArguments& arguments, SOutcome& outcome) {
  if (arguments.user.empty()) throw CHostError("--user needs a name");
  CSession session;
  session.Open(arguments.database);
  if (arguments.experiment != kNoExperiment &&
      !CBookkeepingRows(session.DatabasePath()).HasExperiment(arguments.experiment)) {
    throw NoSuchExperiment(arguments.experiment, kExitWrongUse);
  }
  CJson document = CJson::array();
  for (const std::string& file : arguments.files) {
    SAcquisition acquisition;
    std::string reason;
    if (!Record(arguments, session, file, &acquisition, &reason)) {
      ReportFailure(outcome, file, reason);
      continue;
    }
    const bool none = acquisition.experiment == kNoExperiment;
    document.push_back({{"file", acquisition.path},
                        {"acquired", JsonTime(acquisition.time)},
                        {"timeSource", acquisition.timeSource},
                        {"experiment", none ? CJson(nullptr) : CJson(acquisition.experiment)}});
    if (!arguments.json) Print(acquisition);
  }
  if (arguments.json) PrintJson(document);
}

}  // namespace

void AddHistoryAddCommand(CCommand parent, SOutcome& outcome) {
  const auto arguments = std::make_shared<SArguments>();
  CCommand command = AddVerb(parent, "add", "Record image files as acquired by a user",
                             "qvthumbs history add --user anna cells.ome.tif", arguments,
                             [&outcome](const SArguments& given) { Add(given, outcome); });
  AddRequired(command, "--user", &arguments->user, "Who acquired them", "NAME");
  command.AddOption("--time", &arguments->time, "When (default: as the image says, else the file's date)").Type("TIME");
  command.AddOption("--experiment", &arguments->experiment, "With which experiment (default: the image's own)")
      .Positive()
      .Type("ID");
  AddRequired(command, "files", &arguments->files, "Image files", "FILE");
  command.SetFooter("A file that is recorded already gets the new time and keeps its experiment.\n\n" +
                    command.GetFooter());
}

}  // namespace qvhost
