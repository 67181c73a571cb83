#include "host/shards/catalog_supply.h"

namespace qvhost {

std::unique_ptr<CCatalog> OpenCatalogFor(CFileJobs& jobs, CSession& session, const std::string& catalog) {
  if (catalog.empty()) return nullptr;
  auto opened = std::make_unique<CCatalog>(catalog, session.DatabasePath(), CurrentSettings(session.Service(), {}));
  jobs.SetSupplier([&supplier = *opened](const SQvThumbnailDescription& wanted) { return supplier.Supply(wanted); });
  return opened;
}

}  // namespace qvhost
