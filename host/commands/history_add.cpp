#include "host/commands/history_add.h"

#include <fmt/format.h>

#include <cstdio>
#include <optional>

#include "host/commands/experiment_records.h"
#include "host/files/image_experiment.h"
#include "host/files/image_file.h"
#include "host/output/time_text.h"
#include "host/session/bookkeeping_rows.h"
#include "host/session/diagnostics.h"
#include "host/session/session.h"

namespace qvhost {
namespace {

// What a record without an experiment refers to; SQLite numbers experiments from 1.
constexpr int kNoExperiment = 0;

struct SHistoryAddArguments {
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

// What is recorded stays unless another time is given: it may have been given by hand.
bool FindTime(const SHistoryAddArguments& arguments, const SImageExperiment& image, const SRecordedFile& recorded,
              SAcquisition* acquisition) {
  const auto take = [acquisition](double time, const char* source) {
    acquisition->time = time;
    acquisition->timeSource = source;
    return time > 0.0;
  };
  if (!arguments.time.empty()) return take(ParseTime(arguments.time, "--time"), "given");
  return take(recorded.time, "recorded") || take(image.acquisitionTime, "image") ||
         take(LastWriteTime(acquisition->path), "file date");
}

bool Write(CSession& session, const std::string& user, const SAcquisition& acquisition, std::string* reason) {
  const CQvStringW name = CQvStringUtils::UTF8toW(acquisition.path), userID = CQvStringUtils::UTF8toW(user);
  const std::string said = FindFailure([&] {
    return session.Service().WriteHistory(name.c_str(), userID.c_str(), acquisition.time, acquisition.experiment);
  });
  if (!said.empty()) *reason = "the database did not take it: " + said;
  return said.empty();
}

// Looks at everything that could stand against the record before anything is written.
bool Record(const SHistoryAddArguments& arguments, CSession& session, const CBookkeepingRows& rows,
            SAcquisition* acquisition, std::string* reason) {
  SImageExperiment image;
  if (!image.Read(acquisition->path, reason)) return false;
  const std::optional<SRecordedFile> recorded = rows.FindFile(acquisition->path);
  if (recorded && recorded->user != arguments.user) {
    *reason = fmt::format(
        "is recorded for another user, {}, already; a file has one record, which "
        "'qvthumbs history assign' corrects",
        Printable(recorded->user));
    return false;
  }
  if (!FindTime(arguments, image, recorded.value_or(SRecordedFile()), acquisition)) {
    *reason = "tells no acquisition time; give one with --time";
    return false;
  }
  if (recorded) {
    acquisition->experiment = recorded->experiment;
    return acquisition->time == recorded->time || Write(session, arguments.user, *acquisition, reason);
  }
  acquisition->experiment = arguments.experiment;
  if (acquisition->experiment == kNoExperiment && image.experiment &&
      !StoreExperiment(session, image, acquisition->time, -1, &acquisition->experiment, reason)) {
    return false;
  }
  return Write(session, arguments.user, *acquisition, reason);
}

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
  CJson document = CJson::array();
  for (const std::string& file : arguments.files) {
    SAcquisition acquisition;
    acquisition.path = AbsolutePath(file);
    std::string reason;
    if (!Record(arguments, session, rows, &acquisition, &reason)) {
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
