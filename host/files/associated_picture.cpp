#include "host/files/associated_picture.h"

#include <algorithm>

#include "host/files/failure_reason.h"
#include "host/files/image_file.h"
#include "host/output/fitted_size.h"
#include "host/output/text.h"
#include "host/session/image_format_manager.h"
#include "imageformats/iqvassociatedimages.h"
#include "system/qvstatus.h"

namespace qvhost {
namespace {

// Large enough to read what is written on a label.
constexpr std::uint32_t kMaxSide = 4096;

const SQvAssociatedImage* FindNamed(const std::vector<SQvAssociatedImage>& images, const std::string& name) {
  const std::wstring wanted = CQvStringUtils::UTF8toW(name).Str();
  const auto found = std::find_if(images.begin(), images.end(), [&](const SQvAssociatedImage& image) {
    return CQvStringUtils::EqualNoCase(image.name.Str(), wanted);
  });
  return found == images.end() ? nullptr : &*found;
}

std::string NamesOf(const std::vector<SQvAssociatedImage>& images) {
  std::string names;
  for (const SQvAssociatedImage& image : images) names += (names.empty() ? "" : ", ") + Printable(image.name);
  return names;
}

CQvPicture Render(IQvAssociatedImages& images, const SQvAssociatedImage& image, IQvImageFormatManager& manager,
                  std::string* reason) {
  const SFittedSize size = FitIntoSquare(image.width, image.height, kMaxSide);
  CQvPicture picture;
  if (image.width == 0 || image.height == 0 || !picture.Reinit(size.width, size.height, 8, 3, true)) {
    *reason = "has an impossible size";
  } else if (images.RenderAssociatedImage(image.name, picture.Get()) != kQvOk) {
    *reason = CFailureReason::OrElse(manager.GetErrorText(), "is damaged");
    picture.Free();
  }
  return picture;
}

}  // namespace

CQvPicture ReadAssociatedPicture(const std::string& path, const std::string& name, std::string* reason) {
  *reason = ExplainOpenFailure(path);
  if (!reason->empty()) return {};
  const CQvRef<IQvImageFormatManager> manager = CreateImageFormatManager();
  CQvRef<IQvImageFile> file;
  if (!manager || manager->OpenImageFile(CQvStringUtils::UTF8toW(AbsolutePath(path)), file.Out()) != kQvOk) {
    *reason = manager ? CFailureReason::OrElse(manager->GetErrorText(), "not an image of a known format")
                      : "the image formats are not installed";
    return {};
  }
  const auto associated = QvQuery<IQvAssociatedImages>(*file, "IQvAssociatedImages");
  std::vector<SQvAssociatedImage> images;
  if (associated && associated->GetAssociatedImages(&images) != kQvOk) {
    *reason = CFailureReason::OrElse(manager->GetErrorText(), "what lies beside its picture cannot be read");
    return {};
  }
  if (const SQvAssociatedImage* image = FindNamed(images, name)) return Render(*associated, *image, *manager, reason);
  *reason = "holds no " + name + (images.empty() ? "" : "; there is: " + NamesOf(images));
  return {};
}

}  // namespace qvhost
