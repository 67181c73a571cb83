#include "platform/imageformats/component/picture_source.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <new>
#include <stdexcept>

#include "platform/imageformats/base/picture_buffer.h"

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

struct Releaser {
  void operator()(IQvPictureSource* source) const { source->Release(); }
};
using SourcePtr = std::unique_ptr<IQvPictureSource, Releaser>;

class PictureSourceTest : public testing::Test {
 protected:
  SourcePtr Source(std::function<void()> act) {
    return SourcePtr(NewPictureSource(std::make_unique<CFakeImage>(std::move(act)), manager));
  }
  std::int32_t RenderInto(IQvPictureSource& source, std::uint32_t width, std::uint32_t height, SQvPicBuf& target) {
    return source.RenderPicture(&width, &height, &target, 1, true, 0, 0, 0xFFFFFFFFu);
  }

  std::shared_ptr<CErrorText> manager = std::make_shared<CErrorText>();
  PictureBuffer picture{4, 2, 8, 3};
};

TEST_F(PictureSourceTest, FailuresBecomeStatusAndText) {
  const SourcePtr damaged = Source([] { throw CDamagedError("It is broken"); });
  EXPECT_EQ(RenderInto(*damaged, 4, 2, picture.Get()), -9);
  EXPECT_EQ(damaged->GetErrorText(), CQvStringW(L"It is broken"));
  EXPECT_EQ(manager->Get(), CQvStringW(L"It is broken"));
  const SourcePtr unsupported = Source([] { throw CUnsupportedError("Too new"); });
  EXPECT_EQ(unsupported->ReadPicture(&picture.Get(), 0, 0), -3);
  EXPECT_EQ(manager->Get(), CQvStringW(L"Too new"));
  const SourcePtr poor = Source([] { throw std::bad_alloc(); });
  EXPECT_EQ(RenderInto(*poor, 4, 2, picture.Get()), -9);
  EXPECT_FALSE(poor->GetErrorText().IsEmpty());
  const SourcePtr odd = Source([] { throw 5; });
  EXPECT_EQ(RenderInto(*odd, 4, 2, picture.Get()), -9);
  EXPECT_FALSE(odd->GetErrorText().IsEmpty());
}

TEST_F(PictureSourceTest, SuccessEmptiesTheText) {
  bool fails = true;
  const SourcePtr source = Source([&] {
    if (fails) throw std::runtime_error("once");
  });
  EXPECT_EQ(RenderInto(*source, 4, 2, picture.Get()), -9);
  fails = false;
  EXPECT_EQ(RenderInto(*source, 4, 2, picture.Get()), 0);
  EXPECT_TRUE(source->GetErrorText().IsEmpty());
  EXPECT_TRUE(manager->Get().IsEmpty());
}

TEST_F(PictureSourceTest, ShapesAreChecked) {
  const SourcePtr source = Source([] {});
  PictureBuffer grey(4, 2, 8, 1), other(5, 2, 8, 3), wide(4, 2, 16, 3);
  SQvPicBuf empty;
  CQvPicBufAPI::Init(&empty);
  for (SQvPicBuf* wrong : {&grey.Get(), &other.Get(), &wide.Get(), &empty}) {
    EXPECT_EQ(RenderInto(*source, 4, 2, *wrong), -9);
    EXPECT_EQ(source->ReadPicture(wrong, 0, 0), -9);
  }
  SQvPicBuf lying = picture.Get();
  lying.dataSize = 10;
  EXPECT_EQ(source->ReadPicture(&lying, 0, 0), -9);
  EXPECT_EQ(source->ReadPicture(&picture.Get(), 0, 0), 0);
}

TEST_F(PictureSourceTest, UnknownRequestsAreRefused) {
  const SourcePtr source = Source([] {});
  std::uint32_t width = 4, height = 2;
  SQvPicBuf& p = picture.Get();
  EXPECT_EQ(source->RenderPicture(nullptr, &height, &p, 1, true, 0, 0, 1), -9);
  EXPECT_EQ(source->RenderPicture(&width, nullptr, &p, 1, true, 0, 0, 1), -9);
  EXPECT_EQ(source->RenderPicture(&width, &height, nullptr, 1, true, 0, 0, 1), -9);
  EXPECT_EQ(source->RenderPicture(&width, &height, &p, 2, true, 0, 0, 1), -9);
  EXPECT_EQ(source->RenderPicture(&width, &height, &p, 1, true, 1, 0, 1), -9);
  EXPECT_EQ(source->RenderPicture(&width, &height, &p, 1, true, 0, 1, 1), -9);
  EXPECT_EQ(source->ReadPicture(&p, 1, 0), -9);
  EXPECT_EQ(source->ReadPicture(nullptr, 0, 0), -9);
  EXPECT_EQ(source->GetPictureInfo(nullptr), -9);
  EXPECT_EQ(source->GetMetadataReader(nullptr), -9);
  CQvByteArray bytes;
  EXPECT_EQ(source->GetCustomTag(L"QvCustomTag:ThumbailJpg", &bytes), -9);
  EXPECT_EQ(source->GetCustomTag(L"QvCustomTag:ThumbailJpg", nullptr), -9);
}

TEST_F(PictureSourceTest, TheReaderOutlivesTheSource) {
  SourcePtr source = Source([] {});
  IQvMetadataReader* reader = nullptr;
  ASSERT_EQ(source->GetMetadataReader(&reader), 0);
  source.reset();
  SQvImageInfo info;
  EXPECT_EQ(reader->GetImageInfo(&info), 0);
  EXPECT_EQ(info.width, 4u);
  reader->Destroy();
}

}  // namespace
}  // namespace imageformats
