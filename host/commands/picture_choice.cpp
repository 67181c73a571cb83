#include "host/commands/picture_choice.h"

#include <fmt/format.h>

#include "host/host_error.h"
#include "host/output/text.h"

namespace qvhost {

SPictureFormat SPictureChoice::For(const COutputTarget& target) const {
  const std::optional<EPictureFormat> named = target.IsStream() ? std::nullopt : FormatOfName(target.Name());
  SPictureFormat chosen;
  chosen.format = named.value_or(EPictureFormat::Png);
  if (!format.empty()) chosen.format = format == "png" ? EPictureFormat::Png : EPictureFormat::Jpeg;
  if (named && *named != chosen.format) {
    throw CHostError(fmt::format("the name {} says another format than --format {}; change one of them",
                                 Printable(target.Name()), format));
  }
  if (jpegQuality == 0) return chosen;
  if (chosen.format != EPictureFormat::Jpeg) {
    throw CHostError("--jpeg-quality is for JPEG only; give --format jpg, or an output whose name ends in .jpg");
  }
  chosen.jpegQuality = jpegQuality;
  return chosen;
}

void AddPictureOptions(CCommand command, SPictureChoice* choice) {
  command.AddOption("--format", &choice->format, "png or jpg (default: as the output's name ends, else png)")
      .OneOf({"png", "jpg"})
      .Type("png|jpg");
  command.AddOption("--jpeg-quality", &choice->jpegQuality, "Of a JPEG file, 1 to 100 (default: 92)")
      .Between(1, 100)
      .Type("N");
}

}  // namespace qvhost
