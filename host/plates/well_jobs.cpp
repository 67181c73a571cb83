#include "host/plates/well_jobs.h"

#include <string>

#include "system/qvstring.h"

namespace qvhost {

std::string WellJobName(const SWell& well) {
  return well.isHidden ? "well " + WellName(well.row, well.column) + " of " + well.file : well.file;
}

IThumbnailJobs::ENext CWellJobs::Next(SThumbnailJob* job, std::string*) {
  if (m_next == m_wells.size()) return ENext::End;
  const SWell& well = m_wells[m_next++];
  job->name = WellJobName(well);
  SQvThumbnailDescription& description = job->description;
  description.location = SQvThumbnailDescription::LowerCase(SQvThumbnailDescription::MakeDBLocation(
      static_cast<std::int32_t>(well.number) + 1, L"well" + std::to_wstring(m_number)));
  description.flags = m_highQuality ? 1 : 0;
  description.owner = &m_database;
  return ENext::Job;
}

std::string CWellJobs::ExplainFailure(const SThumbnailJob&) { return "its pixels are missing or damaged"; }

}  // namespace qvhost
