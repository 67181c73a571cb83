#pragma once

#include <string>
#include <vector>

#include "host/plates/plate.h"
#include "host/plates/well_database.h"
#include "host/thumbnails/thumbnail_jobs.h"

namespace qvhost {

// What a job that is the thumbnail of that well is called.
std::string WellJobName(const SWell& well);

// The thumbnails of the wells that are hidden in one file. The service keeps them in memory only.
class CWellJobs : public IThumbnailJobs {
 public:
  // `wells` are those of that file. Each database of a process has a number of its own, which tells its locations from
  // those of the others.
  CWellJobs(CWellDatabase& database, std::size_t number, std::vector<SWell> wells, bool highQuality)
      : m_database(database), m_number(number), m_wells(std::move(wells)), m_highQuality(highQuality) {}

  std::int64_t Count() const override { return static_cast<std::int64_t>(m_wells.size()); }
  ENext Next(SThumbnailJob* job, std::string* reason) override;
  ERefresh Refresh(SThumbnailJob*, std::string*) override { return ERefresh::Same; }
  bool IsCached(const SThumbnailJob&) override { return false; }
  bool ArePersistent() const override { return false; }
  std::string ExplainFailure(const SThumbnailJob& job) override;

 private:
  CWellDatabase& m_database;
  const std::size_t m_number;
  const std::vector<SWell> m_wells;
  const bool m_highQuality;
  std::size_t m_next = 0;
};

}  // namespace qvhost
