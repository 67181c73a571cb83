#include <gtest/gtest.h>
#include <malloc.h>

#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "tests/support/child_process.h"
#include "tests/support/encode_jpeg.h"
#include "tests/support/temp_folder.h"
#include "tests/support/threads.h"
#include "tests/thumbnailcache/support/service.h"

// Viewers that come and go for a long time.
namespace qvtest {
namespace {

constexpr int kFiles = 400, kThreads = 4;
constexpr std::uint32_t kCacheLimit = 50;

// QV_SOAK sets another number of requests.
int Requests() {
  const char* wanted = std::getenv("QV_SOAK");
  return wanted ? std::atoi(wanted) : 12000;
}

std::size_t AllocatedBytes() {
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

class SoakTest : public ::testing::Test {
 protected:
  void SetUp() override {
    UseInstalledComponents();
    for (int i = 0; i < kFiles; ++i) {
      const auto size = static_cast<std::uint32_t>(40 + i % 90);
      m_files.push_back(Describe(
          m_folder.MakeFileWide("file" + std::to_string(i) + ".jpg", EncodeJpeg(SmoothPicture(size, size, 3)))));
    }
    ASSERT_EQ(m_service.Open(m_folder.Wide("cache.db")), 0);
    m_service->SetCacheLimit(kCacheLimit);
  }
  void TearDown() override { m_service.Close(); }

  // One viewer scrolls: it asks for some files, looks, and lets go or gives up.
  void Scroll(int requests, std::uint64_t viewer, unsigned seed) {
    std::mt19937 random(seed);
    IQvThumbnailCache& cache = *m_service;
    for (int i = 0; i < requests; ++i) {
      const SQvThumbnailDescription& file = m_files[random() % m_files.size()];
      cache.RequestThumbnails(0, &file, 1, 0, random() % 4 != 0);
      if (Get(cache, file, viewer).HasPicture()) cache.ReleaseThumbnail(viewer, file);
      if (random() % 8 == 0) cache.CancelRequests(viewer, &file, 1);
      if (random() % 2000 == 0) cache.PurgeUnusedThumbnails();
    }
  }
  void ScrollTogether(int requests, unsigned seed) {
    RunThreads(kThreads, [&](int thread) {
      Scroll(requests / kThreads, static_cast<std::uint64_t>(thread) + 1, seed + static_cast<unsigned>(thread));
    });
    // What is in work stays in memory; once the database is closed nothing is.
    ASSERT_EQ(m_service.Close(), 0);
    ASSERT_EQ(m_service.Open(m_folder.Wide("cache.db")), 0);
    m_service->SetCacheLimit(kCacheLimit);
  }

  CTempFolder m_folder;
  std::vector<SQvThumbnailDescription> m_files;
  CServiceHandle m_service;
};

TEST_F(SoakTest, MemoryIsFlatOverManyRequests) {
  if (!kMemoryIsMeasurable) GTEST_SKIP() << "a sanitizer allocates by itself";
  // What is kept by design may still fill: listings of folders, what is known of young files, the libraries' own
  // tables.
  constexpr std::size_t kSlack = 256 << 10;
  ScrollTogether(Requests() / 10, 1);
  const std::size_t before = AllocatedBytes();
  ScrollTogether(Requests(), 100);
  EXPECT_LT(AllocatedBytes(), before + kSlack);
}

}  // namespace
}  // namespace qvtest
