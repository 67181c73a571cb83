#include <gtest/gtest.h>

#include <algorithm>

#include "imageformats/qvoutputformat.h"
#include "platform/imageformats/base/new_picture.h"
#include "platform/imageformats/component/image_format_manager_impl.h"
#include "platform/imageformats/component/picture_source.h"
#include "system/qvref.h"
#include "system/qvstatus.h"
#include "tests/support/encode_jpeg.h"
#include "tests/support/encode_png.h"
#include "tests/support/file_bytes.h"
#include "tests/support/temp_folder.h"
#include "tests/support/test_picture.h"

namespace {

using namespace qvtest;

using imageformats::kAllChannels;
using imageformats::kOverviewMode;
using imageformats::NewPicture;

class ManagerTest : public testing::Test {
 protected:
  CQvRef<IQvImageFormatManager> manager{new ("test", 1) CQvImageFormatManagerImpl};
  CTempFolder folder;
  SFileBytes jpeg = EncodeJpeg(SmoothPicture(40, 30, 3));
  SFileBytes png = EncodePng(SmoothPicture(40, 30, 3));

  CQvRef<IQvImageCodec> CodecFor(const CQvStringW& path) {
    CQvRef<IQvImageCodec> codec;
    manager->GetCodecForFile(path, codec.Out());
    return codec;
  }
};

TEST_F(ManagerTest, CodecsAreFoundByName) {
  for (const char* name : {"JPG", "PNG"}) {
    CQvRef<IQvImageCodec> codec;
    ASSERT_EQ(manager->GetCodecByName(name, codec.Out()), kQvOk) << name;
  }
  IQvImageCodec* codec = nullptr;
  for (const char* name : {"jpg", "XYZ", ""}) EXPECT_EQ(manager->GetCodecByName(name, &codec), kQvFailure) << name;
  EXPECT_EQ(codec, nullptr);
  EXPECT_FALSE(manager->GetErrorText().IsEmpty());
  EXPECT_EQ(manager->GetCodecByName("JPG", nullptr), kQvFailure);
}

TEST_F(ManagerTest, TheContentChoosesTheCodec) {
  const CQvStringW path = folder.MakeFileWide("really_a_png.tif", png);
  const CQvRef<IQvImageCodec> codec = CodecFor(path);
  ASSERT_TRUE(codec);
  CQvRef<IQvPictureSource> source;
  ASSERT_EQ(codec->OpenInputFile(path, source.Out()), kQvOk);
  SQvImageInfo info;
  ASSERT_EQ(source->GetPictureInfo(&info), kQvOk);
  EXPECT_EQ(info.width, 40u);
  EXPECT_EQ(info.compression, kQvCompressionLossless);
}

TEST_F(ManagerTest, WhatIsNoImageIsRefusedWithAReason) {
  EXPECT_FALSE(CodecFor(folder.MakeFileWide("notes.tif", BytesOf("\x01Meeting at ten."))));
  EXPECT_EQ(manager->GetErrorText(), CQvStringW(L"The file is not an image of a known format"));
  EXPECT_FALSE(CodecFor(folder.MakeFileWide("empty.jpg", SFileBytes{})));
  EXPECT_EQ(manager->GetErrorText(), CQvStringW(L"The file is empty"));
  EXPECT_FALSE(CodecFor(folder.Wide()));
  EXPECT_EQ(manager->GetErrorText(), CQvStringW(L"The file cannot be opened"));
  EXPECT_FALSE(CodecFor(L""));
  EXPECT_FALSE(manager->GetErrorText().IsEmpty());
  EXPECT_TRUE(CodecFor(folder.MakeFileWide("good.jpg", jpeg)));
  EXPECT_TRUE(manager->GetErrorText().IsEmpty());
}

// The signature at its place, and nothing else.
SFileBytes SignedFile(std::size_t place, const std::string& signature) {
  SFileBytes bytes(place, 0);
  bytes.insert(bytes.end(), signature.begin(), signature.end());
  bytes.resize(bytes.size() + 600, 1);
  return bytes;
}

TEST_F(ManagerTest, AFormatThatIsNotReadIsNamed) {
  using std::string_literals::operator""s;
  const struct {
    SFileBytes bytes;
    const wchar_t* reason;
  } cases[] = {
      {SignedFile(0, "\x89HDF\r\n\x1A\n"), L"The file is an HDF5 file; not supported"},
      {SignedFile(0, "%PDF-1.7"), L"The file is a PDF document; not supported"},
      {SignedFile(0, "8BPS"), L"The file is a PSD file; not supported"},
      {SignedFile(257, "ustar"), L"The file is a TAR archive; not supported"},
      {SignedFile(0, "RIFF\x24\0\0\0AVI "s), L"The file is an AVI film; not supported"},
      {SignedFile(0,
                  "\0\0\0\x20"
                  "ftypisom"s),
       L"The file is an MP4 film; not supported"},
      {SignedFile(0, "\x93NUMPY"), L"The file is a NumPy file; not supported"},
      {SignedFile(0, "MATLAB 5.0 MAT-file"), L"The file is a MATLAB file; not supported"},
      {SignedFile(0, "v/1\x01"), L"The file is an OpenEXR file; not supported"},
      {BytesOf("Meeting at ten."), L"The file is a text; not supported"},
      {BytesOf("<?xml version=\"1.0\"?><plate/>"), L"The file is an XML document; not supported"},
      {BytesOf("<svg xmlns=\"http://www.w3.org/2000/svg\"/>"), L"The file is an SVG drawing; not supported"},
      {BytesOf("<!DOCTYPE html><html></html>"), L"The file is an HTML page; not supported"},
      {BytesOf("{\"a\": 2}"), L"The file is a JSON document; not supported"},
      {BytesOf("version https://git-lfs.github.com/spec/v1\noid sha256:12\nsize 5\n"),
       L"The file is a Git LFS pointer: the image itself was not fetched"},
      {SFileBytes(700, 0), L"The file begins with nothing but zeros"},
  };
  for (const auto& [bytes, reason] : cases) {
    CQvRef<IQvImageCodec> codec;
    EXPECT_EQ(manager->GetCodecForFile(folder.MakeFileWide("file.tif", bytes), codec.Out()), kQvFailure);
    EXPECT_EQ(manager->GetErrorText(), CQvStringW(reason));
  }
  SFileBytes tga(700, 7);
  const std::string footer = "TRUEVISION-XFILE.\0"s;
  tga.insert(tga.end(), footer.begin(), footer.end());
  EXPECT_FALSE(CodecFor(folder.MakeFileWide("file.tga", tga)));
  EXPECT_EQ(manager->GetErrorText(), CQvStringW(L"The file is a TGA file; not supported"));
}

TEST_F(ManagerTest, AFormatThatIsReadIsDamagedAndNotUnsupported) {
  using std::string_literals::operator""s;
  const struct {
    SFileBytes bytes;
    const wchar_t* reason;
  } cases[] = {
      {BytesOf("GIF89a"), L"The file begins like a GIF file, and is damaged"},
      {SignedFile(0, "BM\x10\0\0\0\0\0\0\0\0\0\0\0\x07\0\0\0"s), L"The file begins like a BMP file, and is damaged"},
      {SignedFile(0, "RIFF\x24\0\0\0WEBPJUNK"s), L"The file begins like a WebP file, and is damaged"},
      {SignedFile(208, "MAP DA"), L"The file begins like an MRC file, and is damaged"},
  };
  for (const auto& [bytes, reason] : cases) {
    CQvRef<IQvImageCodec> codec;
    EXPECT_EQ(manager->GetCodecForFile(folder.MakeFileWide("file.tif", bytes), codec.Out()), kQvFailure);
    EXPECT_EQ(manager->GetErrorText(), CQvStringW(reason));
  }
}

TEST_F(ManagerTest, TheManagerSaysWhyASourceFailed) {
  SFileBytes cut = jpeg;
  cut.resize(cut.size() * 2 / 3);
  const CQvStringW path = folder.MakeFileWide("cut.jpg", cut);
  const CQvRef<IQvImageCodec> codec = CodecFor(path);
  CQvRef<IQvPictureSource> source;
  ASSERT_EQ(codec->OpenInputFile(path, source.Out()), kQvOk);
  std::uint32_t width = 20, height = 15;
  CQvPicture picture = NewPicture(width, height, 8, 3);
  EXPECT_EQ(source->RenderPicture(&width, &height, picture.Get(), kOverviewMode, true, 0, 0, kAllChannels), kQvFailure);
  EXPECT_EQ(manager->GetErrorText(), CQvStringW(L"The JPEG data ends before the picture is complete"));
}

TEST_F(ManagerTest, AnImageFileGivesSizeAndMetadata) {
  const CQvStringW path = folder.MakeFileWide("a.jpg", jpeg);
  CQvRef<IQvImageFile> file;
  ASSERT_EQ(manager->OpenImageFile(path, file.Out()), kQvOk);
  std::int64_t size = 0;
  EXPECT_EQ(file->GetFileSize(path.c_str(), &size), kQvOk);
  EXPECT_EQ(size, static_cast<std::int64_t>(jpeg.size()));
  EXPECT_EQ(file->GetFileSize(L"other", &size), kQvFailure);
  EXPECT_EQ(file->GetFileSize(nullptr, &size), kQvFailure);
  CQvRef<IQvMetadataReader> reader;
  EXPECT_EQ(file->GetMetadataReader(L"other", reader.Out()), kQvFailure);
  ASSERT_EQ(file->GetMetadataReader(path, reader.Out()), kQvOk);
  file.Reset();
  SQvImageInfo info;
  EXPECT_EQ(reader->GetImageInfo(&info), kQvOk);
  EXPECT_EQ(info.height, 30u);
  EXPECT_EQ(manager->OpenImageFile(folder.MakeFileWide("x.jpg", BytesOf("x")), file.Out()), kQvFailure);
}

TEST_F(ManagerTest, ThumbnailsTravelThroughMemory) {
  CQvRef<IQvImageCodec> codec;
  ASSERT_EQ(manager->GetCodecByName("JPG", codec.Out()), kQvOk);
  CQvByteArray bytes;
  CQvRef<IQvOutputImageFile> output;
  ASSERT_EQ(codec->CreateOutputMemory(&bytes, output.Out()), kQvOk);
  CQvPicture picture = NewPicture(5, 3, 8, 3);
  for (std::uint32_t y = 0; y < picture->height; ++y)
    std::fill_n(picture.Row(y), picture->widthBytes, std::uint8_t{200});
  EXPECT_EQ(output->WritePicture(picture->data, 0, 0), kQvFailure) << "before the format is set";
  ASSERT_EQ(output->SetPictureFormat(DescribeForOutput(*picture), 0.8), kQvOk);
  ASSERT_EQ(output->WritePicture(picture->data, 0, 0), kQvOk);
  ASSERT_EQ(output->Finish(), kQvOk);
  EXPECT_EQ(output->Finish(), kQvFailure) << "twice";
  CQvRef<IQvPictureSource> source;
  ASSERT_EQ(codec->OpenInputMemory(bytes.GetData(0), bytes.GetSize(), source.Out()), kQvOk);
  SQvImageInfo info;
  ASSERT_EQ(source->GetPictureInfo(&info), kQvOk);
  EXPECT_EQ(info.width, 5u);
  EXPECT_EQ(info.components, 3u);
  EXPECT_EQ(info.bpcSignificant, 8);
}

TEST_F(ManagerTest, FormatsThatCannotBeWrittenSaySo) {
  CQvRef<IQvImageCodec> codec;
  ASSERT_EQ(manager->GetCodecByName("PNG", codec.Out()), kQvOk);
  CQvByteArray bytes;
  IQvOutputImageFile* created = nullptr;
  EXPECT_EQ(codec->CreateOutputMemory(&bytes, &created), kQvUnsupported);
  EXPECT_EQ(codec->CreateOutputMemory(nullptr, &created), kQvFailure);
  EXPECT_EQ(created, nullptr);
}

}  // namespace
