#include "host/files/file_jobs.h"

#include "host/files/image_file.h"

namespace qvhost {

void CFileJobs::LookAhead() {
  if (m_files.size() >= CCurrentFiles::kFewest) m_current.emplace(m_files, m_highQuality, m_databasePath);
}

IThumbnailJobs::ENext CFileJobs::NextNumber(std::size_t* number) {
  if (m_order) return m_order(number);
  if (m_next == m_files.size()) return ENext::End;
  *number = m_next++;
  return ENext::Job;
}

IThumbnailJobs::ENext CFileJobs::Next(SThumbnailJob* job, std::string* reason) {
  std::size_t number = 0;
  if (const ENext next = NextNumber(&number); next != ENext::Job) return next;
  job->name = m_files[number];
  if (m_current && m_current->IsCurrent(number)) return ENext::Cached;
  return DescribeFile(job->name, m_highQuality, &job->description, reason) ? ENext::Job : ENext::Failed;
}

IThumbnailJobs::ERefresh CFileJobs::Refresh(SThumbnailJob* job, std::string* reason) {
  const double before = job->description.lastWritten;
  if (!DescribeFile(job->name, m_highQuality, &job->description, reason)) return ERefresh::Gone;
  return job->description.lastWritten == before ? ERefresh::Same : ERefresh::Changed;
}

bool CFileJobs::IsCached(const SThumbnailJob& job) {
  if (m_rows.IsCurrent(job.description)) return true;
  return m_supplier && m_supplier(job.description) && m_rows.IsCurrent(job.description);
}

std::string CFileJobs::ExplainFailure(const SThumbnailJob& job) {
  const std::string reason = ExplainOpenFailure(AbsolutePath(job.name));
  return reason.empty() ? m_reason.OfFile(job.description.location) : reason;
}

}  // namespace qvhost
