#include "platform/imageformats/component/picture_source.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <new>
#include <stdexcept>

#include "platform/imageformats/base/new_picture.h"
#include "system/qvref.h"
#include "system/qvstatus.h"

namespace imageformats {
namespace {

// An image that does what the test says.
class CFakeImage final : public COpenedImage {
 public:
  explicit CFakeImage(std::function<void()> act) : m_act(std::move(act)) {
    m_info.width = 4;
    m_info.height = 2;
    m_info.components = 3;
    m_info.bpcInMemory = 8;
  }
  const SQvImageInfo& Info() const override { return m_info; }
  std::uint64_t SourceBytes() const override { return 0; }
  void Read(SQvPicBuf&, CRenderGuard&) override { m_act(); }
  void Render(const SRenderRequest&, SQvPicBuf&, CRenderGuard&) override { m_act(); }
  SImageMetadata Metadata() override {
    m_act();
    return PlainMetadata(m_info, "Fake", 3);
  }

 private:
  std::function<void()> m_act;
  SQvImageInfo m_info;
};

class PictureSourceTest : public testing::Test {
 protected:
  CQvRef<IQvPictureSource> Source(std::function<void()> act) {
    return CQvRef<IQvPictureSource>(NewPictureSource(std::make_unique<CFakeImage>(std::move(act)), manager));
  }
  std::int32_t RenderInto(IQvPictureSource& source, std::uint32_t width, std::uint32_t height, SQvPicBuf& target) {
    return source.RenderPicture(&width, &height, &target, kOverviewMode, true, 0, 0, kAllChannels);
  }

  std::shared_ptr<CErrorText> manager = std::make_shared<CErrorText>();
  CQvPicture picture = NewPicture(4, 2, 8, 3);
};

TEST_F(PictureSourceTest, FailuresBecomeStatusAndText) {
  const CQvRef<IQvPictureSource> damaged = Source([] { throw CDamagedError("It is broken"); });
  EXPECT_EQ(RenderInto(*damaged, 4, 2, *picture.Get()), kQvFailure);
  EXPECT_EQ(damaged->GetErrorText(), CQvStringW(L"It is broken"));
  EXPECT_EQ(manager->Get(), CQvStringW(L"It is broken"));
  const CQvRef<IQvPictureSource> unsupported = Source([] { throw CUnsupportedError("Too new"); });
  EXPECT_EQ(unsupported->ReadPicture(picture.Get(), 0, 0), kQvUnsupported);
  EXPECT_EQ(manager->Get(), CQvStringW(L"Too new"));
  const CQvRef<IQvPictureSource> poor = Source([] { throw std::bad_alloc(); });
  EXPECT_EQ(RenderInto(*poor, 4, 2, *picture.Get()), kQvFailure);
  EXPECT_FALSE(poor->GetErrorText().IsEmpty());
  const CQvRef<IQvPictureSource> odd = Source([] { throw 5; });
  EXPECT_EQ(RenderInto(*odd, 4, 2, *picture.Get()), kQvFailure);
  EXPECT_FALSE(odd->GetErrorText().IsEmpty());
}

// A host that wants to know why a thumbnail failed asks once more.
TEST_F(PictureSourceTest, WhatTookTooLongIsNotTriedTwice) {
  int tries = 0;
  const auto exceed = [&] {
    ++tries;
    throw CDamagedError(TimeExceeded(kLeastTime));
  };
  const auto source = [&](std::function<void()> act, const std::optional<SFileRecord>& file) {
    return CQvRef<IQvPictureSource>(NewPictureSource(std::make_unique<CFakeImage>(std::move(act)), manager, file));
  };
  SFileRecord file{77, 5, 1, 2};
  for (int i = 0; i < 3; ++i) {
    const CQvRef<IQvPictureSource> slow = source(exceed, file);
    EXPECT_EQ(RenderInto(*slow, 4, 2, *picture.Get()), kQvFailure);
    EXPECT_EQ(manager->Get(), CQvStringUtils::UTF8toW(TimeExceeded(kLeastTime).c_str()));
  }
  EXPECT_EQ(tries, 1);
  // Changed, or no file at all.
  ++file.seconds;
  RenderInto(*source(exceed, file), 4, 2, *picture.Get());
  EXPECT_EQ(tries, 2);
  for (int i = 0; i < 2; ++i) RenderInto(*source(exceed, {}), 4, 2, *picture.Get());
  EXPECT_EQ(tries, 4);
}

TEST_F(PictureSourceTest, WhatFailedForAnotherReasonIsTriedAgain) {
  int tries = 0;
  const SFileRecord file{78, 5, 1, 2};
  for (int i = 0; i < 2; ++i) {
    const CQvRef<IQvPictureSource> source(NewPictureSource(std::make_unique<CFakeImage>([&] {
                                                             if (++tries == 1) throw CDamagedError("It is broken");
                                                           }),
                                                           manager, file));
    EXPECT_EQ(RenderInto(*source, 4, 2, *picture.Get()), i == 0 ? kQvFailure : kQvOk);
  }
  EXPECT_EQ(tries, 2);
}

TEST_F(PictureSourceTest, SuccessEmptiesTheText) {
  bool fails = true;
  const CQvRef<IQvPictureSource> source = Source([&] {
    if (fails) throw std::runtime_error("once");
  });
  EXPECT_EQ(RenderInto(*source, 4, 2, *picture.Get()), kQvFailure);
  fails = false;
  EXPECT_EQ(RenderInto(*source, 4, 2, *picture.Get()), 0);
  EXPECT_TRUE(source->GetErrorText().IsEmpty());
  EXPECT_TRUE(manager->Get().IsEmpty());
}

TEST_F(PictureSourceTest, ShapesAreChecked) {
  const CQvRef<IQvPictureSource> source = Source([] {});
  CQvPicture grey = NewPicture(4, 2, 8, 1);
  CQvPicture other = NewPicture(5, 2, 8, 3);
  CQvPicture wide = NewPicture(4, 2, 16, 3);
  SQvPicBuf empty;
  CQvPicBufAPI::Init(&empty);
  for (SQvPicBuf* wrong : {grey.Get(), other.Get(), wide.Get(), &empty}) {
    EXPECT_EQ(RenderInto(*source, 4, 2, *wrong), kQvFailure);
    EXPECT_EQ(source->ReadPicture(wrong, 0, 0), kQvFailure);
  }
  SQvPicBuf lying = *picture.Get();
  lying.dataSize = 10;
  EXPECT_EQ(source->ReadPicture(&lying, 0, 0), kQvFailure);
  EXPECT_EQ(source->ReadPicture(picture.Get(), 0, 0), kQvOk);
}

TEST_F(PictureSourceTest, UnknownRequestsAreRefused) {
  const CQvRef<IQvPictureSource> source = Source([] {});
  std::uint32_t width = 4, height = 2;
  SQvPicBuf& p = *picture.Get();
  EXPECT_EQ(source->RenderPicture(nullptr, &height, &p, 1, true, 0, 0, 1), kQvFailure);
  EXPECT_EQ(source->RenderPicture(&width, nullptr, &p, 1, true, 0, 0, 1), kQvFailure);
  EXPECT_EQ(source->RenderPicture(&width, &height, nullptr, 1, true, 0, 0, 1), kQvFailure);
  EXPECT_EQ(source->RenderPicture(&width, &height, &p, 2, true, 0, 0, 1), kQvFailure);
  EXPECT_EQ(source->RenderPicture(&width, &height, &p, 1, true, 1, 0, 1), kQvFailure);
  EXPECT_EQ(source->RenderPicture(&width, &height, &p, 1, true, 0, 1, 1), kQvFailure);
  EXPECT_EQ(source->ReadPicture(&p, 1, 0), kQvFailure);
  EXPECT_EQ(source->ReadPicture(nullptr, 0, 0), kQvFailure);
  EXPECT_EQ(source->GetPictureInfo(nullptr), kQvFailure);
  EXPECT_EQ(source->GetMetadataReader(nullptr), kQvFailure);
  CQvByteArray bytes;
  EXPECT_EQ(source->GetCustomTag(L"QvCustomTag:ThumbailJpg", &bytes), kQvFailure);
  EXPECT_EQ(source->GetCustomTag(L"QvCustomTag:ThumbailJpg", nullptr), kQvFailure);
}

TEST_F(PictureSourceTest, TheReaderOutlivesTheSource) {
  CQvRef<IQvPictureSource> source = Source([] {});
  CQvRef<IQvMetadataReader> reader;
  ASSERT_EQ(source->GetMetadataReader(reader.Out()), kQvOk);
  source.Reset();
  SQvImageInfo info;
  EXPECT_EQ(reader->GetImageInfo(&info), kQvOk);
  EXPECT_EQ(info.width, 4u);
}

}  // namespace
}  // namespace imageformats
