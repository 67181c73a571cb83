#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/files/current_files.h"
#include "host/files/failure_reason.h"
#include "host/session/cache_rows.h"
#include "host/thumbnails/thumbnail_jobs.h"

namespace qvhost {

// The thumbnails of files.
class CFileJobs : public IThumbnailJobs {
 public:
  // The list must outlive the object.
  CFileJobs(const std::vector<std::string>& files, bool highQuality, const std::string& databasePath)
      : m_files(files), m_highQuality(highQuality), m_databasePath(databasePath), m_rows(databasePath) {}
  CFileJobs(std::vector<std::string>&&, bool, const std::string&) = delete;

  // Looks ahead, in a long list, for files that have their thumbnail. For callers that do not want the pictures of
  // those.
  void LookAhead();

  // Asked for the number in the list of the next file, instead of taking them in their order: Job, Later or End.
  using COrder = std::function<ENext(std::size_t* number)>;
  void SetOrder(COrder order) { m_order = std::move(order); }

  // Asked for what the database lacks before it is made; true when it has put that there.
  using CSupplier = std::function<bool(const SQvThumbnailDescription& wanted)>;
  void SetSupplier(CSupplier supplier) { m_supplier = std::move(supplier); }

  std::int64_t Count() const override { return static_cast<std::int64_t>(m_files.size()); }
  ENext Next(SThumbnailJob* job, std::string* reason) override;
  ERefresh Refresh(SThumbnailJob* job, std::string* reason) override;
  bool IsCached(const SThumbnailJob& job) override;
  bool ArePersistent() const override { return true; }
  std::string ExplainFailure(const SThumbnailJob& job) override;

 private:
  ENext NextNumber(std::size_t* number);

  const std::vector<std::string>& m_files;
  const bool m_highQuality;
  std::size_t m_next = 0;
  COrder m_order;
  const std::string m_databasePath;
  CCacheRows m_rows;
  CSupplier m_supplier;
  CFailureReason m_reason;
  std::optional<CCurrentFiles> m_current;
};

}  // namespace qvhost
