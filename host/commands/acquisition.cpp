#include "host/commands/acquisition.h"

#include <fmt/format.h>

#include <optional>

#include "host/commands/experiment_records.h"
#include "host/files/image_experiment.h"
#include "host/files/image_file.h"
#include "host/output/text.h"
#include "host/session/diagnostics.h"

namespace qvhost {
namespace {

// What is recorded stays unless another time is given: it may have been given by hand.
bool FindAcquisitionTime(const SImageExperiment& image, const SRecordedFile& recorded, SAcquisition* acquisition) {
  const double given = acquisition->time;
  const auto take = [acquisition](double time, const char* source) {
    acquisition->time = time;
    acquisition->timeSource = source;
    return time > 0.0;
  };
  return take(given, "given") || take(recorded.time, "recorded") || take(image.acquisitionTime, "image") ||
         take(LastWriteTime(acquisition->path), "file date");
}

bool WriteAcquisition(CSession& session, const std::string& user, const SAcquisition& acquisition,
                      std::string* reason) {
  const CQvStringW name = CQvStringUtils::UTF8toW(acquisition.path), userID = CQvStringUtils::UTF8toW(user);
  const std::string said = FindFailure([&] {
    return session.Service().WriteHistory(name.c_str(), userID.c_str(), acquisition.time, acquisition.experiment);
  });
  if (!said.empty()) *reason = "the database did not take it: " + said;
  return said.empty();
}

}  // namespace

// Looks at everything that could stand against the record before anything is written.
bool RecordAcquisition(CSession& session, const CBookkeepingRows& rows, const std::string& user,
                       SAcquisition* acquisition, std::string* reason) {
  SImageExperiment image;
  if (!image.Read(acquisition->path, reason)) return false;
  const std::optional<SRecordedFile> recorded = rows.FindFile(acquisition->path);
  if (recorded && recorded->user != user) {
    *reason = fmt::format(
        "is recorded for another user, {}, already; a file has one record, which "
        "'qvthumbs history assign' corrects",
        Printable(recorded->user));
    return false;
  }
  if (!FindAcquisitionTime(image, recorded.value_or(SRecordedFile()), acquisition)) {
    *reason = "tells no acquisition time; give one with --time";
    return false;
  }
  if (recorded) {
    acquisition->experiment = recorded->experiment;
    return acquisition->time == recorded->time || WriteAcquisition(session, user, *acquisition, reason);
  }
  if (acquisition->experiment == kNoExperiment && image.experiment &&
      !StoreExperiment(session, image, acquisition->time, -1, &acquisition->experiment, reason)) {
    return false;
  }
  return WriteAcquisition(session, user, *acquisition, reason);
}

CJson AcquisitionJson(const SAcquisition& acquisition) {
  const bool none = acquisition.experiment == kNoExperiment;
  return {{"file", acquisition.path},
          {"acquired", JsonTime(acquisition.time)},
          {"timeSource", acquisition.timeSource},
          {"experiment", none ? CJson(nullptr) : CJson(acquisition.experiment)}};
}

}  // namespace qvhost
