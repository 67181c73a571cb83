#include "tests/imageformats/support/damage.h"

#include <gtest/gtest.h>

#include <chrono>

#include "platform/imageformats/base/new_picture.h"
#include "system/qvstatus.h"
#include "tests/imageformats/support/opened.h"

using namespace imageformats;
using namespace qvtest;

namespace {

// Which byte is changed matters to memory, and not to threads.
#ifdef QV_THREAD_SANITIZER
constexpr std::size_t kStep = 7;
#else
constexpr std::size_t kStep = 1;
#endif

// A changed header may ask for much: the time is short, so that many can be tried.
SRenderLimits ShortLimits() { return {32u << 20, 1u << 24, std::chrono::seconds(1)}; }

void RenderWithin(COpenedImage& image, std::uint32_t width, std::uint32_t height) {
  CQvPicture picture = NewPicture(width, height, 8, 3);
  CRenderGuard guard(ShortLimits());
  image.Render({width, height, width < 10, kAllChannels}, *picture.Get(), guard);
}

void DoAll(const SFileBytes& bytes) {
  const std::unique_ptr<COpenedImage> image = OpenBytes(bytes);
  image->Metadata();
  RenderWithin(*image, 9, 7);
  RenderWithin(*image, 37, 28);
  const SQvImageInfo& info = image->Info();
  if (std::uint64_t{info.width} * info.height > 1u << 16) return;
  CQvPicture picture = NewPicture(info.width, info.height, info.bpcInMemory, info.components);
  CRenderGuard guard(ShortLimits());
  image->Read(*picture.Get(), guard);
}

}  // namespace

std::int32_t OutcomeOf(const SFileBytes& bytes) {
  try {
    DoAll(bytes);
  } catch (const CFormatError& error) {
    EXPECT_STRNE(error.what(), "");
    return error.Status();
  } catch (const std::bad_alloc&) {
    return kQvFailure;
  }
  return kQvOk;
}

void ExpectDamagedWhereverCut(const SFileBytes& bytes, std::size_t spare) {
  ASSERT_EQ(OutcomeOf(bytes), kQvOk);
  for (std::size_t size = 1; size + spare < bytes.size(); size += kStep) {
    const SFileBytes cut(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_EQ(OutcomeOf(cut), kQvFailure) << size << " of " << bytes.size() << " bytes";
  }
}

void ExpectNoHarmOfChanges(const SFileBytes& bytes) {
  for (std::size_t i = 0; i < bytes.size(); i += kStep) {
    for (const int change : {0x01, 0x80, 0xFF}) {
      SFileBytes changed = bytes;
      changed[i] = static_cast<std::uint8_t>(changed[i] ^ change);
      const std::int32_t status = OutcomeOf(changed);
      EXPECT_TRUE(status == kQvOk || status == kQvFailure || status == kQvUnsupported) << status << " at " << i;
    }
  }
}
