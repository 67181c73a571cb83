// The smallest useful host: loads the thumbnail cache, asks for thumbnails of the files named on the command line and
// writes each as a PPM picture. docs/host-guide.md walks through it.

#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <mutex>
#include <string>
#include <vector>

#include "system/qvfile.h"
#include "system/qvref.h"
#include "system/qvrtti.h"
#include "thumbnailcache/iqvthumbnailcache.h"

namespace {

// Counts finished thumbnails. The callback runs on the cache's worker threads.
class CFinished {
 public:
  static void OnFinished(void* context, const wchar_t* /*location*/) {
    auto* self = static_cast<CFinished*>(context);
    const std::lock_guard lock(self->m_mutex);
    ++self->m_count;
    self->m_changed.notify_one();
  }
  std::uint64_t Count() {
    const std::lock_guard lock(m_mutex);
    return m_count;
  }
  void WaitForMoreThan(std::uint64_t count) {
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [&] { return m_count > count; });
  }

 private:
  std::mutex m_mutex;
  std::condition_variable m_changed;
  std::uint64_t m_count = 0;
};

// The file's time as the cache keeps it: the later of creation and last write, as a Julian day number.
double SourceTime(const CQvStringW& path) {
  SQvFindData data;
  QvFindHandle find = nullptr;
  if (QV_FindFileFirst(path.c_str(), &data, &find) != 0) return 0.0;
  QV_FindFileClose(find);
  const double created = CQvDateTime(data.creationTime).GetJulianDayNumber();
  const double written = CQvDateTime(data.lastWriteTime).GetJulianDayNumber();
  return created > written ? created : written;
}

SQvThumbnailDescription Describe(const CQvStringW& path) {
  SQvThumbnailDescription description;
  description.location = path;
  description.lastWritten = SourceTime(path);  // 0 when you do not know
  description.flags = 0;                       // not 0: rendered without short cuts, kept apart
  return description;
}

bool WritePpm(const std::string& path, const SQvPicBuf& picture) {
  std::ofstream file(path, std::ios::binary);
  file << "P6\n" << picture.width << ' ' << picture.height << "\n255\n";
  for (std::uint32_t y = 0; y < picture.height; ++y) {
    const char* row = static_cast<const char*>(picture.data) + std::size_t{y} * picture.widthBytes;
    file.write(row, std::streamsize{picture.width} * 3);
  }
  return file.good();
}

bool IsPending(std::uint32_t state) { return state == kQvThumbnailQueued || state == kQvThumbnailInWork; }

// Waits until the cache has settled one thumbnail and writes it.
bool Show(IQvThumbnailCache& cache, CFinished& finished, const SQvThumbnailDescription& wanted, int number) {
  const std::uint64_t viewer = 1;  // any number that is ours alone
  std::uint32_t state = kQvThumbnailNone;
  SQvPicBuf picture{};
  for (;;) {
    const std::uint64_t before = finished.Count();  // read first, so that no wake-up is missed
    cache.GetCachedThumbnail(viewer, wanted, &state, &picture);
    if (!IsPending(state)) break;
    finished.WaitForMoreThan(before);
  }
  const std::string name = CQvStringUtils::WtoUTF8(wanted.location).Str();
  if (state != kQvThumbnailReady && state != kQvThumbnailStale) {
    std::fprintf(stderr, "%s: no thumbnail (state %u)\n", name.c_str(), state);
    return false;
  }
  const std::string out = "thumbnail" + std::to_string(number) + ".ppm";
  const bool written = WritePpm(out, picture);
  std::printf("%s: %u x %u pixels, %s\n", name.c_str(), picture.width, picture.height, out.c_str());
  cache.ReleaseThumbnail(viewer, wanted);  // from here on the pixels are the cache's again
  return written;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "Use: %s DATABASE IMAGE...\n", argv[0]);
    return 2;
  }

  // Load: the components lie beside the system library.
  CQvRTTI::ScanFolder(CQvRTTI::GetLibraryFolder().c_str());
  const auto cache =
      QvCreate<IQvThumbnailCache>("CQvThumbnailCacheImpl", "IQvThumbnailCache", SQvFileLine(__FILE__, __LINE__));
  if (!cache) {
    std::fprintf(stderr, "The thumbnail cache is not installed.\n");
    return 1;
  }

  // Open. The reason of a failure goes to the diagnostics: to standard error, or to the host's own sink.
  if (cache->OpenDatabase(CQvStringUtils::UTF8toW(argv[1]).c_str()) != 0) return 1;
  cache->SetThumbnailBox(480, 180, false);  // the box of standard thumbnails, width and height in pixels
  cache->SetCacheLimit(2000);               // how many thumbnails keep their pixels in memory

  // Listen, then request: the whole list in one call, to be made in the background.
  CFinished finished;
  const QvThumbnailListener listener = cache->AddListener(&CFinished::OnFinished, &finished);
  std::vector<SQvThumbnailDescription> wanted;
  for (int i = 2; i < argc; ++i) wanted.push_back(Describe(CQvStringUtils::UTF8toW(argv[i])));
  cache->RequestThumbnails(0, wanted.data(), static_cast<std::uint32_t>(wanted.size()), 0, true);

  // Get, show, release.
  bool allGood = true;
  for (std::size_t i = 0; i < wanted.size(); ++i) {
    allGood = Show(*cache, finished, wanted[i], static_cast<int>(i)) && allGood;
  }

  // Close. The workers have ended when CloseDatabase returns; only then is it safe to destroy what listeners use.
  cache->RemoveListener(listener);
  cache->CloseDatabase();
  return allGood ? 0 : 1;
}
