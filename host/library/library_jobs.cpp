#include "host/library/library_jobs.h"

#include <fmt/format.h>

#include "host/files/failure_reason.h"
#include "host/library/memory_picture.h"
#include "system/qvstatus.h"

namespace qvhost {

CLibraryJobs::CLibraryJobs(CLibraryDatabase& library, std::int32_t record, const std::string& field, bool highQuality)
    : m_library(library), m_highQuality(highQuality) {
  const std::optional<SLibraryPicture> found = library.File().Find(record, field);
  m_pictures.push_back(found ? *found : SLibraryPicture{record, field, {}, 0.0});
}

IThumbnailJobs::ENext CLibraryJobs::Next(SThumbnailJob* job, std::string* reason) {
  if (m_next == m_pictures.size()) return ENext::End;
  const SLibraryPicture& picture = m_pictures[m_next];
  job->name = fmt::format("record {}, field {}", picture.record, picture.field);
  if (!picture.name.empty()) job->name += fmt::format(" ({})", picture.name);
  SQvThumbnailDescription& description = job->description;
  description.location = SQvThumbnailDescription::LowerCase(
      SQvThumbnailDescription::MakeDBLocation(picture.record, CQvStringUtils::UTF8toW(picture.field)));
  description.flags = m_highQuality ? 1 : 0;
  description.owner = &m_library;
  m_indexes[description.location.Str()] = m_next++;
  if (picture.changed != 0.0) return ENext::Job;
  *reason = m_library.File().HasRecord(picture.record) ? "the record has no such field" : "there is no such record";
  return ENext::Failed;
}

IThumbnailJobs::ERefresh CLibraryJobs::Refresh(SThumbnailJob* job, std::string* reason) {
  SLibraryPicture& picture = PictureOf(*job);
  const std::optional<SLibraryPicture> now = m_library.File().Find(picture.record, picture.field);
  if (!now) {
    *reason = "was deleted meanwhile";
    return ERefresh::Gone;
  }
  if (now->changed == picture.changed) return ERefresh::Same;
  picture.changed = job->description.lastWritten = now->changed;
  return ERefresh::Changed;
}

std::string CLibraryJobs::ExplainFailure(const SThumbnailJob& job) {
  const SLibraryPicture& picture = PictureOf(job);
  std::optional<std::string> bytes = m_library.File().Read(picture.record, picture.field);
  if (!bytes) return "was deleted meanwhile";
  std::string reason;
  CQvRef<IQvPictureSource> source;
  if (OpenMemoryPicture(std::move(*bytes), source.Out(), &reason) != kQvOk) {
    return reason.empty() ? "damaged or no image" : reason;
  }
  return CFailureReason::OfSource(*source);
}

}  // namespace qvhost
