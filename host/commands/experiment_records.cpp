#include "host/commands/experiment_records.h"

#include "host/commands/experiment_text.h"
#include "host/session/bookkeeping_rows.h"
#include "host/session/diagnostics.h"

namespace qvhost {
namespace {

std::int32_t HashOf(const SImageExperiment& image) {
  unsigned int hash = CQvExperimentAPI::GetExperimentHash(image.experiment.get());
  image.planes.GetHash(hash);
  return static_cast<std::int32_t>(hash);
}

// When the stored experiment that equals the image's was last acquired; 0 when there is none, or nobody knows.
double KnownTime(CSession& session, const SImageExperiment& image) {
  for (const int id : CBookkeepingRows(session.DatabasePath()).ExperimentIDsOfHash(HashOf(image))) {
    const SExperimentRecord stored(session.Service(), id);
    if (SQvExperiment::IsEqual(stored.experiment.get(), image.experiment.get(), true, true)) return stored.time;
  }
  return 0.0;
}

}  // namespace

SExperimentRecord::SExperimentRecord(IQvThumbnailCache& service, int id) {
  SQvExperiment* read = nullptr;
  service.ReadExperiment(&read, &planes, &time, id);
  experiment.reset(read);
}

CJson SExperimentRecord::Summary(int id) const {
  return {{"experiment", id},
          {"acquired", JsonTime(time)},
          {"loops", SummarizeLoops(*experiment)},
          {"planes", planes.planes.size()}};
}

CJson SExperimentRecord::Json(int id) const {
  CJson document = {{"experiment", id}, {"acquired", JsonTime(time)}};
  document["loops"] = ExperimentJson(*experiment, planes);
  return document;
}

bool StoreExperiment(CSession& session, const SImageExperiment& image, double time, int storedID, int* id,
                     std::string* reason) {
  const double acquired = time > 0.0 ? time : KnownTime(session, image);
  *reason = FindFailure(
      [&] { return session.Service().WriteExperiment(image.experiment.get(), &image.planes, acquired, storedID, id); });
  if (reason->empty()) return true;
  *reason = "the database did not take it: " + *reason;
  return false;
}

}  // namespace qvhost
