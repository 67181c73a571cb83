#include "host/commands/catalog_choice.h"

namespace qvhost {

COption AddCatalogOption(CCommand command, std::string* catalog) {
  COption option = command.AddOption("--catalog", catalog,
                                     "Take thumbnails from this published database first, and keep a copy of them");
  option.Type("FILE").NotEmpty("an empty name is no file");
  return option;
}

std::unique_ptr<CCatalog> OpenCatalogFor(CFileJobs& jobs, CSession& session, const std::string& catalog) {
  if (catalog.empty()) return nullptr;
  auto opened = std::make_unique<CCatalog>(catalog, session.DatabasePath(), CurrentSettings(session.Service(), {}));
  jobs.SetSupplier([&supplier = *opened](const SQvThumbnailDescription& wanted) { return supplier.Supply(wanted); });
  return opened;
}

}  // namespace qvhost
