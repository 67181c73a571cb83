#include <gtest/gtest.h>

#include <memory>

#include "platform/imageformats/component/image_format_manager_impl.h"
#include "system/qvrtti.h"
#include "tests/imageformats/support/encode_jpeg.h"
#include "tests/imageformats/support/encode_png.h"
#include "tests/imageformats/support/scratch_folder.h"

namespace {

struct ReleaseObject {
  void operator()(IQvInterface* object) const { CQvRTTI::Release(object); }
  void operator()(IQvPictureSource* source) const { source->Release(); }
  void operator()(IQvOutputImageFile* output) const { output->Release(); }
  void operator()(IQvMetadataReader* reader) const { reader->Destroy(); }
};
template <class T>
using Owned = std::unique_ptr<T, ReleaseObject>;

class ManagerTest : public testing::Test {
 protected:
  Owned<IQvImageFormatManager> manager{new ("test", 1) CQvImageFormatManagerImpl};
  CScratchFolder folder;
  SFileBytes jpeg = EncodeJpeg(SmoothPicture(40, 30, 3));
  SFileBytes png = EncodePng(SmoothPicture(40, 30, 3));

  Owned<IQvImageCodec> CodecFor(const CQvStringW& path) {
    IQvImageCodec* codec = nullptr;
    manager->GetCodecForFile(path, &codec);
    return Owned<IQvImageCodec>(codec);
  }
};

TEST_F(ManagerTest, CodecsAreFoundByName) {
  for (const char* name : {"JPG", "PNG"}) {
    IQvImageCodec* codec = nullptr;
    ASSERT_EQ(manager->GetCodecByName(name, &codec), 0) << name;
    CQvRTTI::Release(codec);
  }
  IQvImageCodec* codec = nullptr;
  for (const char* name : {"jpg", "BMP", ""}) EXPECT_EQ(manager->GetCodecByName(name, &codec), -9) << name;
  EXPECT_EQ(codec, nullptr);
  EXPECT_FALSE(manager->GetErrorText().IsEmpty());
  EXPECT_EQ(manager->GetCodecByName("JPG", nullptr), -9);
}

TEST_F(ManagerTest, TheContentChoosesTheCodec) {
  const CQvStringW path = folder.Write("really_a_png.tif", png);
  const Owned<IQvImageCodec> codec = CodecFor(path);
  ASSERT_NE(codec, nullptr);
  IQvPictureSource* opened = nullptr;
  ASSERT_EQ(codec->OpenInputFile(path, &opened), 0);
  const Owned<IQvPictureSource> source(opened);
  SQvImageInfo info;
  ASSERT_EQ(source->GetPictureInfo(&info), 0);
  EXPECT_EQ(info.width, 40u);
  EXPECT_EQ(info.compression, kQvCompressionLossless);
}

TEST_F(ManagerTest, WhatIsNoImageIsRefusedWithAReason) {
  EXPECT_EQ(CodecFor(folder.Write("notes.tif", BytesOf("Meeting at ten."))), nullptr);
  EXPECT_EQ(manager->GetErrorText(), CQvStringW(L"The file is not an image of a known format"));
  EXPECT_EQ(CodecFor(folder.Write("empty.jpg", {})), nullptr);
  EXPECT_EQ(manager->GetErrorText(), CQvStringW(L"The file is empty"));
  EXPECT_EQ(CodecFor(CQvStringUtils::UTF8toW(folder.Path().c_str())), nullptr);
  EXPECT_EQ(manager->GetErrorText(), CQvStringW(L"The file cannot be opened"));
  EXPECT_EQ(CodecFor(L""), nullptr);
  EXPECT_FALSE(manager->GetErrorText().IsEmpty());
  EXPECT_NE(CodecFor(folder.Write("good.jpg", jpeg)), nullptr);
  EXPECT_TRUE(manager->GetErrorText().IsEmpty());
}

TEST_F(ManagerTest, TheManagerSaysWhyASourceFailed) {
  SFileBytes cut = jpeg;
  cut.resize(cut.size() * 2 / 3);
  const CQvStringW path = folder.Write("cut.jpg", cut);
  const Owned<IQvImageCodec> codec = CodecFor(path);
  IQvPictureSource* opened = nullptr;
  ASSERT_EQ(codec->OpenInputFile(path, &opened), 0);
  const Owned<IQvPictureSource> source(opened);
  std::uint32_t width = 20, height = 15;
  SQvPicBuf picture;
  CQvPicBufAPI::Init(&picture);
  ASSERT_EQ(CQvPicBufAPI::Reinit(&picture, width, height, 0, 8, 3, true), 0);
  EXPECT_EQ(source->RenderPicture(&width, &height, &picture, 1, true, 0, 0, 0xFFFFFFFFu), -9);
  EXPECT_EQ(manager->GetErrorText(), CQvStringW(L"The JPEG data ends before the picture is complete"));
  CQvPicBufAPI::Free(&picture);
}

TEST_F(ManagerTest, AnImageFileGivesSizeAndMetadata) {
  const CQvStringW path = folder.Write("a.jpg", jpeg);
  IQvImageFile* opened = nullptr;
  ASSERT_EQ(manager->OpenImageFile(path, &opened), 0);
  Owned<IQvImageFile> file(opened);
  std::int64_t size = 0;
  EXPECT_EQ(file->GetFileSize(path.c_str(), &size), 0);
  EXPECT_EQ(size, static_cast<std::int64_t>(jpeg.size()));
  EXPECT_EQ(file->GetFileSize(L"other", &size), -9);
  EXPECT_EQ(file->GetFileSize(nullptr, &size), -9);
  IQvMetadataReader* made = nullptr;
  EXPECT_EQ(file->GetMetadataReader(L"other", &made), -9);
  ASSERT_EQ(file->GetMetadataReader(path, &made), 0);
  const Owned<IQvMetadataReader> reader(made);
  file.reset();
  SQvImageInfo info;
  EXPECT_EQ(reader->GetImageInfo(&info), 0);
  EXPECT_EQ(info.height, 30u);
  EXPECT_EQ(manager->OpenImageFile(folder.Write("x.jpg", BytesOf("x")), &opened), -9);
}

TEST_F(ManagerTest, ThumbnailsTravelThroughMemory) {
  IQvImageCodec* found = nullptr;
  ASSERT_EQ(manager->GetCodecByName("JPG", &found), 0);
  const Owned<IQvImageCodec> codec(found);
  CQvByteArray bytes;
  IQvOutputImageFile* created = nullptr;
  ASSERT_EQ(codec->CreateOutputMemory(&bytes, &created), 0);
  const Owned<IQvOutputImageFile> output(created);
  SQvImageInfo format;
  format.width = format.tileWidth = 5;
  format.height = format.tileHeight = 3;
  format.widthBytes = 16;
  format.components = 3;
  format.bpcInMemory = format.bpcSignificant = 8;
  const std::vector<std::uint8_t> pixels(48, 200);
  EXPECT_EQ(output->WritePicture(pixels.data(), 0, 0), -9) << "before the format is set";
  ASSERT_EQ(output->SetPictureFormat(format, 0.8), 0);
  ASSERT_EQ(output->WritePicture(pixels.data(), 0, 0), 0);
  ASSERT_EQ(output->Finish(), 0);
  EXPECT_EQ(output->Finish(), -9) << "twice";
  IQvPictureSource* opened = nullptr;
  ASSERT_EQ(codec->OpenInputMemory(bytes.GetData(0), bytes.GetSize(), &opened), 0);
  const Owned<IQvPictureSource> source(opened);
  SQvImageInfo info;
  ASSERT_EQ(source->GetPictureInfo(&info), 0);
  EXPECT_EQ(info.width, 5u);
  EXPECT_EQ(info.components, 3u);
  EXPECT_EQ(info.bpcSignificant, 8);
}

TEST_F(ManagerTest, FormatsThatCannotBeWrittenSaySo) {
  IQvImageCodec* found = nullptr;
  ASSERT_EQ(manager->GetCodecByName("PNG", &found), 0);
  const Owned<IQvImageCodec> codec(found);
  CQvByteArray bytes;
  IQvOutputImageFile* created = nullptr;
  EXPECT_EQ(codec->CreateOutputMemory(&bytes, &created), -3);
  EXPECT_EQ(codec->CreateOutputMemory(nullptr, &created), -9);
  EXPECT_EQ(created, nullptr);
}

}  // namespace
