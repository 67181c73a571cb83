#include <fmt/format.h>
#include <png.h>
#include <CLI/Version.hpp>
#include <nlohmann/json.hpp>

#include "host/commands/command.h"
#include "host/session/image_format_manager.h"
#include "host/session/session.h"
#include "host/session/sqlite.h"
#include "system/qvstatus.h"

namespace qvhost {
namespace {

bool HasFormat(IQvImageFormatManager& manager, const char* name) {
  CQvRef<IQvImageCodec> codec;
  return manager.GetCodecByName(name, codec.Out()) == kQvOk;
}

std::string FormatsText() {
  const CQvRef<IQvImageFormatManager> manager = CreateImageFormatManager();
  if (!manager) return "image formats: not installed\n";
  std::string names;
  for (const char* name : {"JPG", "PNG", "TIF"}) {
    if (HasFormat(*manager, name)) names += fmt::format("{}{}", names.empty() ? "" : ", ", name);
  }
  return fmt::format("image formats: {}\nwhole-slide images: {}\n", names,
                     HasFormat(*manager, "WSI") ? "built in" : "not built in");
}

}  // namespace

std::string VersionText() {
  LoadComponents();
  std::string text = fmt::format("qvthumbs {}\n", QVTHUMBS_VERSION);
  text += fmt::format("thumbnail service: {} ({})\n", FindService() ? "installed" : "not installed",
                      CQvStringUtils::WtoUTF8(CQvRTTI::GetLibraryFolder()).Str());
  text += FormatsText();
  text += fmt::format("SQLite {}, libpng {}, CLI11 {}, fmt {}.{}.{}, nlohmann-json {}.{}.{}", SQLite::getLibVersion(),
                      png_get_libpng_ver(nullptr), CLI11_VERSION, FMT_VERSION / 10000, FMT_VERSION / 100 % 100,
                      FMT_VERSION % 100, NLOHMANN_JSON_VERSION_MAJOR, NLOHMANN_JSON_VERSION_MINOR,
                      NLOHMANN_JSON_VERSION_PATCH);
  return text;
}

}  // namespace qvhost
