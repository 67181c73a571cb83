#include "host/thumbnails/larger_pictures.h"

#include <utility>

#include "host/output/picture.h"
#include "host/session/image_format_manager.h"
#include "host/thumbnails/sized_picture.h"

namespace qvhost {
namespace {

constexpr unsigned kMostRenderers = 8;
// How many pictures may be rendered before the first of them is taken.
constexpr std::size_t kPicturesAhead = 4 * kMostRenderers;
constexpr int kLargerJpegQuality = 85;

}  // namespace

CLargerPictures::CLargerPictures(std::vector<std::string> files, std::uint32_t side, const SFittedSize& thumbnail,
                                 bool highQuality)
    : m_files(std::move(files)),
      m_side(side),
      m_thumbnail(thumbnail),
      m_highQuality(highQuality),
      m_pictures(m_files.size()),
      m_ahead(m_files.size(), kPicturesAhead, kMostRenderers, [this](CReadAhead& ahead) { Work(ahead); }) {}

std::string CLargerPictures::Take(std::size_t number) {
  m_ahead.Await(number);
  return std::exchange(m_pictures[number], {});
}

void CLargerPictures::Work(CReadAhead& ahead) noexcept {
  CQvRef<IQvImageFormatManager> manager;
  for (std::size_t number = 0; ahead.Claim(&number); ahead.Tell(number)) {
    try {
      if (!manager) manager = CreateImageFormatManager();
      std::string ignored;
      const std::string& file = m_files[number];
      const CQvPicture picture =
          file.empty() || !manager ? CQvPicture() : RenderSizedPicture(*manager, file, m_side, m_highQuality, &ignored);
      const bool isLarger =
          picture.HasPixels() && (picture->width > m_thumbnail.width || picture->height > m_thumbnail.height);
      if (isLarger) m_pictures[number] = EncodeJpeg(*picture, kLargerJpegQuality);
    } catch (...) {
      // The thumbnail does instead.
    }
  }
}

}  // namespace qvhost
