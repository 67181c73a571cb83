#include "host/plates/plate_reader.h"

#include <algorithm>
#include <filesystem>

#include "host/files/image_file.h"
#include "host/session/image_format_manager.h"
#include "system/qvstatus.h"

namespace qvhost {
namespace {

namespace fs = std::filesystem;

// No name leads out of the folder, whatever a file says.
std::optional<fs::path> Resolve(const fs::path& opened, const std::string& location) {
  if (location.empty()) return opened;
  std::error_code error;
  const bool isFolder = fs::is_directory(opened, error);
  const fs::path below = fs::path(location).lexically_normal();
  if (below.is_absolute() || std::find(below.begin(), below.end(), "..") != below.end()) return std::nullopt;
  if (!isFolder && below.has_parent_path()) return std::nullopt;
  return (isFolder ? opened : opened.parent_path()) / below;
}

}  // namespace

CQvRef<IQvPlate> OpenPlate(const std::string& path) {
  const CQvRef<IQvImageFormatManager> manager = CreateImageFormatManager();
  CQvRef<IQvImageFile> file;
  if (!manager || manager->OpenImageFile(CQvStringUtils::UTF8toW(path), file.Out()) != kQvOk) return {};
  return QvQuery<IQvPlate>(*file, "IQvPlate");
}

std::optional<SPlateLayout> ReadPlate(const std::string& path) {
  const std::string absolute = AbsolutePath(path);
  const CQvRef<IQvPlate> opened = OpenPlate(absolute);
  SQvPlate plate;
  if (!opened || opened->GetPlate(&plate) != kQvOk) return std::nullopt;
  SPlateLayout layout;
  layout.name = CQvStringUtils::WtoUTF8(plate.name).Str();
  layout.rows = plate.rows;
  layout.columns = plate.columns;
  for (std::uint32_t i = 0; i < plate.wells.size(); ++i) {
    const SQvPlateWell& well = plate.wells[i];
    const auto file = Resolve(absolute, CQvStringUtils::WtoUTF8(well.location).Str());
    if (!file) continue;
    // What is hidden in a file is rendered through the one that was opened, which knows the plate.
    layout.wells.push_back({well.row, well.column, well.fields, well.isHidden ? absolute : file->string(),
                            well.isHidden, i, well.width, well.height});
  }
  return layout.wells.empty() ? std::nullopt : std::optional(std::move(layout));
}

}  // namespace qvhost
