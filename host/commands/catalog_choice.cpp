#include "host/commands/catalog_choice.h"

namespace qvhost {

COption AddCatalogOption(CCommand command, std::string* catalog) {
  COption option = command.AddOption("--catalog", catalog,
                                     "Take thumbnails from this published database first, and keep a copy of them");
  option.Type("FILE").NotEmpty("an empty name is no file");
  return option;
}

}  // namespace qvhost
