#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "host/library/library_database.h"
#include "host/thumbnails/thumbnail_jobs.h"

namespace qvhost {

// The thumbnails of a library's records. The service keeps them in memory only.
//
// The service takes a record's modification time from the release of its thumbnail and remakes it when that is news.
// The description therefore states a time only when the record has changed since its thumbnail was requested; else
// every thumbnail would be made twice.
class CLibraryJobs : public IThumbnailJobs {
 public:
  // All picture fields of that name, of any name when it is empty.
  CLibraryJobs(CLibraryDatabase& library, const std::string& field, bool highQuality)
      : m_library(library), m_pictures(library.File().List(field)), m_highQuality(highQuality) {}
  // One picture field, which need not exist.
  CLibraryJobs(CLibraryDatabase& library, std::int32_t record, const std::string& field, bool highQuality);

  std::int64_t Count() const override { return static_cast<std::int64_t>(m_pictures.size()); }
  ENext Next(SThumbnailJob* job, std::string* reason) override;
  ERefresh Refresh(SThumbnailJob* job, std::string* reason) override;
  bool IsCached(const SThumbnailJob&) override { return false; }
  bool ArePersistent() const override { return false; }
  std::string ExplainFailure(const SThumbnailJob& job) override;

 private:
  SLibraryPicture& PictureOf(const SThumbnailJob& job) {
    return m_pictures[m_indexes.at(job.description.location.Str())];
  }

  CLibraryDatabase& m_library;
  std::vector<SLibraryPicture> m_pictures;
  const bool m_highQuality;
  std::size_t m_next = 0;
  std::unordered_map<std::wstring, std::size_t> m_indexes;  // into m_pictures, by location
};

}  // namespace qvhost
