#include "host/thumbnails/larger_pictures.h"

#include <algorithm>
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
      m_isTold(m_files.size()) {
  const unsigned count = std::clamp(std::thread::hardware_concurrency(), 1u, kMostRenderers);
  for (unsigned i = 0; i < count; ++i) m_threads.emplace_back([this] { Work(); });
}

CLargerPictures::~CLargerPictures() {
  {
    const std::lock_guard lock(m_mutex);
    m_stop = true;
  }
  m_wanted.notify_all();
  for (std::thread& thread : m_threads) thread.join();
}

std::string CLargerPictures::Take(std::size_t number) {
  std::unique_lock lock(m_mutex);
  m_wantedNumber = number;
  m_wanted.notify_all();
  m_told.wait(lock, [&] { return m_isTold[number] != 0; });
  return std::exchange(m_pictures[number], {});
}

void CLargerPictures::Work() noexcept {
  CQvRef<IQvImageFormatManager> manager;
  for (std::size_t number = 0; Claim(&number);) {
    std::string jpeg;
    try {
      if (!manager) manager = CreateImageFormatManager();
      std::string ignored;
      const std::string& file = m_files[number];
      const CQvPicture picture =
          file.empty() || !manager ? CQvPicture() : RenderSizedPicture(*manager, file, m_side, m_highQuality, &ignored);
      const bool isLarger =
          picture.HasPixels() && (picture->width > m_thumbnail.width || picture->height > m_thumbnail.height);
      if (isLarger) jpeg = EncodeJpeg(*picture, kLargerJpegQuality);
    } catch (...) {
      // The thumbnail does instead.
    }
    Tell(number, std::move(jpeg));
  }
}

bool CLargerPictures::Claim(std::size_t* number) {
  std::unique_lock lock(m_mutex);
  m_wanted.wait(lock, [&] { return m_stop || m_next == m_files.size() || m_next < m_wantedNumber + kPicturesAhead; });
  if (m_stop || m_next == m_files.size()) return false;
  *number = m_next++;
  return true;
}

void CLargerPictures::Tell(std::size_t number, std::string jpeg) {
  {
    const std::lock_guard lock(m_mutex);
    m_pictures[number] = std::move(jpeg);
    m_isTold[number] = 1;
  }
  m_told.notify_one();
}

}  // namespace qvhost
