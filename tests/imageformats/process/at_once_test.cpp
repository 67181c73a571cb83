// What a question asks for beyond what its caller asked: pictures read when their streams are opened, images closed
// when they are rendered, and the memory that is kept for the next picture.

#include <gtest/gtest.h>
#include <signal.h>

#include <atomic>
#include <cstring>
#include <filesystem>
#include <thread>

#include "picture/qvpicture.h"
#include "platform/imageformats/process/decoder.h"
#include "platform/imageformats/process/protocol.h"
#include "system/qvstatus.h"
#include "tests/imageformats/process/decoders.h"
#include "tests/support/encode_bmp.h"
#include "tests/support/encode_jpeg.h"
#include "tests/support/encode_png.h"
#include "tests/support/test_picture.h"
#include "tests/support/tiff_writer.h"

namespace decodertest {
namespace {

using namespace qvtest;
using namespace std::chrono_literals;
using imageformats::CDecoder;

// An opened stream, its codec kept with it.
struct SOpenStream {
  CQvRef<IQvImageCodec> codec;
  CQvRef<IQvPictureSource> source;
  std::int32_t status = 0;
};

SOpenStream OpenStream(IQvImageFormatManager& manager, const SFileBytes& bytes, const char* format) {
  SOpenStream opened;
  opened.status = manager.GetCodecByName(format, opened.codec.Out());
  if (opened.status == kQvOk) {
    opened.status = opened.codec->OpenInputMemory(bytes.data(), bytes.size(), opened.source.Out());
  }
  return opened;
}

// The picture as it is stored.
SSeen ReadSource(IQvPictureSource& source) {
  SSeen seen;
  SQvImageInfo info;
  CQvPicture picture;
  seen.status = source.GetPictureInfo(&info);
  if (seen.status != kQvOk) return seen;
  if (!picture.Reinit(info.width, info.height, info.bpcInMemory, info.components, true)) throw std::bad_alloc();
  seen.status = source.ReadPicture(picture.Get(), 0, 0);
  seen.reason = CQvStringUtils::WtoUTF8(source.GetErrorText()).Str();
  const auto* first = static_cast<const std::uint8_t*>(picture->data);
  if (seen.status == kQvOk) seen.pixels.assign(first, first + picture->dataSize);
  return seen;
}

SSeen ReadStream(IQvImageFormatManager& manager, const SFileBytes& bytes, const char* format) {
  const SOpenStream opened = OpenStream(manager, bytes, format);
  return opened.status == kQvOk ? ReadSource(*opened.source) : SSeen{opened.status, "", {}};
}

SSeen ReadStreamInPlace(const SFileBytes& bytes, const char* format) {
  setenv("QV_DECODER", "inprocess", 1);
  const SSeen seen = ReadStream(*NewManager(), bytes, format);
  unsetenv("QV_DECODER");
  return seen;
}

SFileBytes JpegOf(std::uint32_t width, std::uint32_t height) { return EncodeJpeg(SmoothPicture(width, height, 3)); }

class AtOnceTest : public testing::Test {
 protected:
  static void KillDecoders() {
    for (const pid_t pid : LivingDecoders()) {
      kill(pid, SIGKILL);
      while (IsAlive(pid)) std::this_thread::sleep_for(1ms);
    }
  }
  void ExpectSameAsInPlace(const SFileBytes& bytes, const char* format) {
    const SSeen seen = ReadStream(*m_manager, bytes, format);
    EXPECT_EQ(seen.status, kQvOk) << seen.reason;
    EXPECT_EQ(seen, ReadStreamInPlace(bytes, format));
  }
  // What reading gives when the decoder that opened the stream does wrong.
  SSeen ReadWithFake(const char* wrong) {
    m_house.UseFake(wrong);
    const SFileBytes jpeg = JpegOf(10, 10);
    const SOpenStream opened = OpenStream(*m_manager, jpeg, "JPG");
    EXPECT_EQ(opened.status, kQvOk);
    return opened.source ? ReadSource(*opened.source) : SSeen{opened.status, {}, {}};
  }

  CDecoderHouse m_house;
  CQvRef<IQvImageFormatManager> m_manager = NewManager();
};

TEST_F(AtOnceTest, StreamsOfEverySizeAreTheSameAsInPlace) {
  for (const std::uint32_t side : {20u, 100u, 126u, 130u, 300u}) {
    SCOPED_TRACE(side);
    const SFileBytes bmp = EncodeBmp(SmoothPicture(side, side, 3), 24);
    EXPECT_EQ(bmp.size() <= imageformats::kMostInline, side <= 126);
    ExpectSameAsInPlace(bmp, "BMP");
  }
  EXPECT_EQ(LivingDecoders().size(), 1u);
}

TEST_F(AtOnceTest, ASmallPictureAfterALargeOneAndTheReverseAreWhole) {
  const SFileBytes small = JpegOf(30, 20), large = EncodePng(SmoothPicture(300, 200, 3)),
                   huge = EncodePng(BlackPicture(1200, 900, 3));
  ASSERT_LE(huge.size(), imageformats::kMostInline);
  for (int i = 0; i < 2; ++i) {
    ExpectSameAsInPlace(small, "JPG");
    ExpectSameAsInPlace(large, "PNG");
    ExpectSameAsInPlace(huge, "PNG");
    ExpectSameAsInPlace(large, "PNG");
  }
}

TEST_F(AtOnceTest, SixteenBitsAndGreyComeAsTheyAreStored) {
  ExpectSameAsInPlace(EncodePng(SmoothPicture(31, 17, 1, 16)), "PNG");
  ExpectSameAsInPlace(EncodePng(SmoothPicture(33, 15, 4)), "PNG");
  ExpectSameAsInPlace(WriteTiff(MakePage<std::uint16_t>(41, 13, 1, [](auto x, auto y, auto) { return x * y; })), "TIF");
}

TEST_F(AtOnceTest, AnotherPicturesPixelsAreNotTakenForItsOwn) {
  const SFileBytes a = JpegOf(40, 30), b = EncodeJpeg(BlackPicture(40, 30, 3));
  const SOpenStream first = OpenStream(*m_manager, a, "JPG"), second = OpenStream(*m_manager, b, "JPG");
  ASSERT_EQ(first.status, kQvOk);
  ASSERT_EQ(second.status, kQvOk);
  EXPECT_EQ(ReadSource(*first.source), ReadStreamInPlace(a, "JPG"));
  EXPECT_EQ(ReadSource(*second.source), ReadStreamInPlace(b, "JPG"));
  EXPECT_EQ(ReadSource(*first.source), ReadStreamInPlace(a, "JPG"));
}

TEST_F(AtOnceTest, AnOpenStreamOutlivesItsDecoder) {
  const SFileBytes jpeg = JpegOf(40, 30);
  const SOpenStream opened = OpenStream(*m_manager, jpeg, "JPG");
  KillDecoders();
  const SSeen seen = ReadStreamInPlace(jpeg, "JPG");
  EXPECT_EQ(ReadSource(*opened.source), seen);
  ReadStream(*m_manager, EncodeJpeg(BlackPicture(40, 30, 3)), "JPG");
  EXPECT_EQ(ReadSource(*opened.source), seen);
}

TEST_F(AtOnceTest, AStreamAnswersMoreThanItsPicture) {
  const SFileBytes jpeg = JpegOf(40, 30);
  const SOpenStream opened = OpenStream(*m_manager, jpeg, "JPG");
  ASSERT_EQ(opened.status, kQvOk);
  CQvRef<IQvMetadataReader> reader;
  SQvImageInfo info;
  EXPECT_EQ(opened.source->GetMetadataReader(reader.Out()), kQvOk);
  EXPECT_EQ(opened.source->GetPictureInfo(&info), kQvOk);
  EXPECT_EQ(info.width, 40u);
  EXPECT_EQ(ReadSource(*opened.source), ReadStreamInPlace(jpeg, "JPG"));
}

TEST_F(AtOnceTest, DamagedStreamsFailWhereTheyFailInPlace) {
  SFileBytes cut = JpegOf(80, 60);
  cut.resize(cut.size() / 2);
  for (const SFileBytes& bytes : {cut, BytesOf("Meeting at ten.")}) {
    const SSeen seen = ReadStream(*m_manager, bytes, "JPG");
    EXPECT_EQ(seen.status, kQvFailure);
    EXPECT_EQ(seen, ReadStreamInPlace(bytes, "JPG"));
  }
  ExpectSameAsInPlace(JpegOf(40, 30), "JPG");
}

TEST_F(AtOnceTest, ARenderedPictureCanBeAskedAgain) {
  const std::wstring file = m_house.Folder().MakeFileWide("a.jpg", JpegOf(80, 60));
  CQvRef<IQvImageCodec> codec;
  CQvRef<IQvPictureSource> source;
  ASSERT_EQ(m_manager->GetCodecForFile(file, codec.Out()), kQvOk);
  ASSERT_EQ(codec->OpenInputFile(file, source.Out()), kQvOk);
  const auto render = [&](std::uint32_t width, std::uint32_t height) {
    CQvPicture picture;
    if (!picture.Reinit(width, height, 8, 3, true)) throw std::bad_alloc();
    const std::int32_t status = source->RenderPicture(&width, &height, picture.Get(), 1, true, 0, 0, 0xFFFFFFFFu);
    const auto* first = static_cast<const std::uint8_t*>(picture->data);
    return status == kQvOk ? std::vector<std::uint8_t>(first, first + picture->dataSize) : std::vector<std::uint8_t>();
  };
  const std::vector<std::uint8_t> seen = render(40, 30);
  EXPECT_EQ(seen, ViewInPlace(file).pixels);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(render(40, 30), seen);
  EXPECT_EQ(render(20, 15).size(), 20u * 15 * 3);
  EXPECT_EQ(ReadSource(*source).status, kQvOk);
  EXPECT_EQ(LivingDecoders().size(), 1u);
}

TEST_F(AtOnceTest, AFileThatWasReplacedStaysTheOneThatWasOpened) {
  const std::wstring file = m_house.Folder().MakeFileWide("a.jpg", JpegOf(80, 60));
  CQvRef<IQvImageCodec> codec;
  CQvRef<IQvPictureSource> source;
  ASSERT_EQ(m_manager->GetCodecForFile(file, codec.Out()), kQvOk);
  ASSERT_EQ(codec->OpenInputFile(file, source.Out()), kQvOk);
  const SSeen seen = View(file);
  std::filesystem::remove(m_house.Folder().Path("a.jpg"));
  const std::uint32_t width = 40, height = 30;
  for (int i = 0; i < 2; ++i) {
    CQvPicture picture;
    ASSERT_TRUE(picture.Reinit(width, height, 8, 3, true));
    ASSERT_EQ(source->RenderPicture(&width, &height, picture.Get(), 1, true, 0, 0, 0xFFFFFFFFu), kQvOk);
    EXPECT_EQ(std::memcmp(picture->data, seen.pixels.data(), seen.pixels.size()), 0);
  }
}

// Opening succeeds as it always did, and reading tells how the decoder ended.
TEST_F(AtOnceTest, OneThatDoesWrongWhileItReadsFailsTheReading) {
  CDecoder::SetPatienceForTest(500ms, {});
  for (const char* wrong : {"crash-reading", "stop-reading", "garbage-reading"}) {
    SCOPED_TRACE(wrong);
    EXPECT_EQ(ReadWithFake(wrong).status, kQvFailure);
    m_house.UseTrue();
    ExpectSameAsInPlace(JpegOf(10, 10), "JPG");
  }
  EXPECT_FALSE(std::filesystem::exists(m_house.ListPath()));
}

TEST_F(AtOnceTest, TheReasonOfAFailedReadingSaysHowItDied) {
  EXPECT_EQ(ReadWithFake("crash-reading").reason, "The decoder died of it (signal 11)");
}

TEST_F(AtOnceTest, OneThatDiesOfOpeningFailsTheOpening) {
  for (const char* wrong : {"crash", "exit", "garbage", "crumb", "empty", "status", "success", "lists"}) {
    SCOPED_TRACE(wrong);
    m_house.UseFake(wrong);
    const SFileBytes jpeg = JpegOf(10, 10);
    EXPECT_EQ(OpenStream(*m_manager, jpeg, "JPG").status, kQvFailure);
  }
}

// It says that it read pictures which its memory has no place for.
TEST_F(AtOnceTest, APictureThatCannotHaveBeenReadIsNotBelieved) {
  EXPECT_EQ(ReadWithFake("read-giant").reason, "The decoder died of it (signal 11)");
}

TEST_F(AtOnceTest, TwoThreadsReadAtOnce) {
  const SFileBytes streams[] = {JpegOf(40, 30), JpegOf(120, 90)};
  const SSeen expected[] = {ReadStreamInPlace(streams[0], "JPG"), ReadStreamInPlace(streams[1], "JPG")};
  std::atomic<int> wrong = 0;
  const auto work = [&](std::size_t first) {
    const CQvRef<IQvImageFormatManager> manager = NewManager();
    for (std::size_t i = first; i < first + 50; ++i) {
      if (!(ReadStream(*manager, streams[i % 2], "JPG") == expected[i % 2])) ++wrong;
    }
  };
  std::thread other(work, 0);
  work(1);
  other.join();
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(LivingDecoders().size(), 2u);
}

}  // namespace
}  // namespace decodertest
