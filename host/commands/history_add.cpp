#include "host/commands/history_add.h"

#include <fmt/format.h>

#include <cmath>
#include <cstdio>

#include "host/files/image_experiment.h"
#include "host/files/image_file.h"
#include "host/output/json.h"
#include "host/output/text.h"
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
int RecordedExperiment(CSession& session, const std::wstring& user, const SAcquisition& acquisition) {
  std::vector<int> experiments;
  std::vector<double> times;
  std::vector<CQvStringW> files;
  session.Service().ReadHistory(user.c_str(), acquisition.time, std::nextafter(acquisition.time, HUGE_VAL),
                                &experiments, &times, &files);
  const CQvStringW name = CQvStringUtils::UTF8toW(acquisition.path);
  for (std::size_t i = 0; i < files.size(); ++i) {
    if (files[i] == name) return experiments[i];
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
  CDiagnostics::Get().Take();
  if (session.Service().WriteHistory(name.c_str(), user.c_str(), acquisition->time, acquisition->experiment) != kQvOk) {
    const std::string said = CDiagnostics::Get().Take();
    *reason = said.find("UNIQUE") != std::string::npos ? "is recorded for another user already; a file has one record"
                                                       : "the database did not take it: " + said;
    return false;
  }
  acquisition->experiment = RecordedExperiment(session, user.Str(), *acquisition);
  return true;
}

void Print(const SAcquisition& acquisition) {
  std::printf("%s  experiment %s  %s%s\n", FormatTime(acquisition.time).c_str(),
              acquisition.experiment == kNoExperiment ? "-" : std::to_string(acquisition.experiment).c_str(),
              Printable(acquisition.path).c_str(),
              acquisition.timeSource == std::string("file date") ? "  (time: the file's date)" : "");
}

void Add(const SArguments& arguments, SRun& run) {
  if (arguments.user.empty()) throw CHostError("--user needs a name");
  CSession session;
  session.Open(arguments.database);
  if (arguments.experiment != kNoExperiment &&
      !CBookkeepingRows(session.DatabasePath()).HasExperiment(arguments.experiment)) {
    throw CHostError(
        fmt::format("there is no experiment {}; 'qvthumbs experiments list' lists them", arguments.experiment));
  }
  CJson document = CJson::array();
  for (const std::string& file : arguments.files) {
    SAcquisition acquisition;
    std::string reason;
    if (!Record(arguments, session, file, &acquisition, &reason)) {
      ReportFailure(run, file, reason);
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

void AddHistoryAddCommand(CLI::App* parent, SRun& run) {
  const auto arguments = std::make_shared<SArguments>();
  CLI::App* command = AddVerb(parent, "add", "Record image files as acquired by a user");
  AddDatabaseOptions(command, &arguments->database);
  AddJsonOption(command, &arguments->json);
  AddOption(command, "--user", &arguments->user, "Who acquired them", {.type = "NAME", .required = true});
  AddOption(command, "--time", &arguments->time, "When (default: as the image says, else the file's date)",
            {.type = "TIME"});
  AddOption(command, "--experiment", &arguments->experiment, "With which experiment (default: the image's own)",
            {.type = "ID", .number = ENumber::Positive});
  AddOption(command, "files", &arguments->files, "Image files", {.type = "FILE", .required = true});
  SetFooter(command,
            "A file that is recorded already gets the new time and keeps its experiment.\n\n"
            "Example:\n  qvthumbs history add --user anna cells.ome.tif");
  SetWork(command, [arguments, &run] { Add(*arguments, run); });
}

}  // namespace qvhost
