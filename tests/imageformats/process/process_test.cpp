// Decoders in processes of their own, through the manager, as a viewer has them.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <thread>

#include "imageformats/iqvassociatedimages.h"
#include "imageformats/iqvplate.h"
#include "picture/qvpicture.h"
#include "platform/imageformats/base/render_guard.h"
#include "platform/imageformats/component/view_settings.h"
#include "platform/imageformats/process/decoder.h"
#include "platform/imageformats/process/decoder_process.h"
#include "system/qvstatus.h"
#include "tests/imageformats/process/decoders.h"
#include "tests/support/child_process.h"
#include "tests/support/diag_recorder.h"
#include "tests/support/encode_jpeg.h"
#include "tests/support/encode_png.h"
#include "tests/support/file_bytes.h"
#include "tests/support/test_picture.h"
#include "tests/support/tiff_writer.h"
#if defined(QV_HAVE_HEIF)
#include "tests/support/encode_heif.h"
#endif
#if defined(QV_HAVE_JXL)
#include "tests/support/encode_jxl.h"
#endif

namespace decodertest {
namespace {

using namespace qvtest;
using namespace std::chrono_literals;
using imageformats::CDecoder;

class DecoderTest : public testing::Test {
 protected:
  std::wstring MakePicture(const std::string& name = "a.jpg") const {
    return m_house.Folder().MakeFileWide(name, EncodeJpeg(SmoothPicture(80, 60, 3)));
  }
  static void Kill(pid_t pid) {
    kill(pid, SIGKILL);
    while (IsAlive(pid)) std::this_thread::sleep_for(1ms);
  }

  CDecoderHouse m_house;
};

TEST_F(DecoderTest, APictureIsTheSameAsInPlace) {
  const CTempFolder& folder = m_house.Folder();
  STiffPage page = MakePage<std::uint16_t>(90, 70, 1, [](auto x, auto y, auto) { return 700 * x + 3 * y; });
  const std::wstring files[] = {MakePicture(), folder.MakeFileWide("a.png", EncodePng(SmoothPicture(90, 70, 4))),
                                folder.MakeFileWide("a.tif", WriteTiff(page))};
  for (const std::wstring& file : files) {
    const SSeen seen = View(file);
    EXPECT_EQ(seen.status, kQvOk) << seen.reason;
    EXPECT_EQ(seen, ViewInPlace(file));
  }
  EXPECT_EQ(LivingDecoders().size(), 1u);
}

// Three planes, 40 brighter each.
std::wstring MakeStack(const CTempFolder& folder) {
  std::vector<STiffPage> pages;
  for (int z = 0; z < 3; ++z) {
    pages.push_back(MakePage<std::uint8_t>(90, 70, 1, [&](auto x, auto, auto) { return x + 40 * z; }));
  }
  pages[0].description = "ImageJ=1.53t\nimages=3\nslices=3\n";
  return folder.MakeFileWide("stack.tif", WriteTiff(pages));
}

TEST_F(DecoderTest, TheProcesssViewReachesTheDecoder) {
  const std::wstring file = MakeStack(m_house.Folder());
  const CQvRef<IQvImageViewSettings> settings(new ("test", 1) CQvImageViewSettingsImpl);
  const SSeen middle = View(file);
  std::vector<SSeen> seen = {middle};
  for (const std::uint32_t planes : {kQvPlaneFirst, kQvPlaneMaximum, kQvPlaneMean}) {
    SQvImageView view;
    view.planes = planes;
    ASSERT_EQ(settings->SetView(view), kQvOk);
    seen.push_back(View(file));
    EXPECT_EQ(seen.back().status, kQvOk) << seen.back().reason;
    EXPECT_EQ(seen.back(), ViewInPlace(file)) << planes;
  }
  settings->SetView({});
  EXPECT_LT(seen[1].pixels, middle.pixels);
  EXPECT_GT(seen[2].pixels, middle.pixels);
  EXPECT_EQ(View(file), middle);
}

TEST_F(DecoderTest, ASourceKeepsTheViewThatItWasOpenedWith) {
  const std::wstring file = MakeStack(m_house.Folder());
  const SSeen middle = View(file);
  const CQvRef<IQvImageFormatManager> manager = NewManager();
  CQvRef<IQvImageCodec> codec;
  CQvRef<IQvPictureSource> source;
  ASSERT_EQ(manager->GetCodecForFile(file, codec.Out()), kQvOk);
  ASSERT_EQ(codec->OpenInputFile(file, source.Out()), kQvOk);
  const CQvRef<IQvImageViewSettings> settings(new ("test", 1) CQvImageViewSettingsImpl);
  SQvImageView view;
  view.planes = kQvPlaneLast;
  ASSERT_EQ(settings->SetView(view), kQvOk);
  const std::uint32_t width = 40, height = 30;
  CQvPicture picture;
  ASSERT_TRUE(picture.Reinit(width, height, 8, 3, true));
  EXPECT_EQ(source->RenderPicture(&width, &height, picture.Get(), 1, true, 0, 0, 0xFFFFFFFFu), kQvOk);
  settings->SetView({});
  EXPECT_EQ(picture.Row(0)[0], middle.pixels[0]);
}

TEST_F(DecoderTest, FailuresAreTheSameAsInPlace) {
  SFileBytes cut = EncodeJpeg(SmoothPicture(80, 60, 3));
  cut.resize(cut.size() / 2);
  for (const SFileBytes& bytes : {cut, BytesOf("Meeting at ten."), SFileBytes{}}) {
    const std::wstring file = m_house.Folder().MakeFileWide("b.jpg", bytes);
    const SSeen seen = View(file);
    EXPECT_EQ(seen.status, kQvFailure);
    EXPECT_FALSE(seen.reason.empty());
    EXPECT_EQ(seen, ViewInPlace(file));
  }
}

TEST_F(DecoderTest, TextsAndTagsComeFromTheDecoderToo) {
  STiffPage page = MakePage<std::uint8_t>(9, 7, 1, [](auto, auto, auto) { return 7; });
  const SFileBytes thumbnail = {1, 2, 3, 4, 5};
  page.tags = [&](TIFF* tiff) {
    TIFFSetField(tiff, TIFFTAG_ARTIST, "Gr\xC3\xA4tzel");
    SetBytesTag(tiff, 65050, thumbnail);
  };
  const std::wstring file = m_house.Folder().MakeFileWide("a.tif", WriteTiff(page));
  const CQvRef<IQvImageFormatManager> manager = NewManager();
  CQvRef<IQvImageCodec> codec;
  CQvRef<IQvPictureSource> source;
  CQvRef<IQvMetadataReader> reader;
  SQvImageTextInfo text;
  CQvByteArray bytes;
  ASSERT_EQ(manager->GetCodecForFile(file, codec.Out()), kQvOk);
  ASSERT_EQ(codec->OpenInputFile(file, source.Out()), kQvOk);
  ASSERT_EQ(source->GetMetadataReader(reader.Out()), kQvOk);
  EXPECT_EQ(reader->GetTextInfo(&text), kQvOk);
  EXPECT_EQ(text.author, CQvStringW(L"Gr\x00E4tzel"));
  EXPECT_EQ(source->GetCustomTag(L"QvCustomTag:ThumbailJpg", &bytes), kQvOk);
  EXPECT_EQ(SFileBytes(bytes.GetData(0), bytes.GetData(0) + bytes.GetSize()), thumbnail);
  EXPECT_EQ(source->GetCustomTag(L"QvCustomTag:ThumbailPicbuf", &bytes), kQvFailure);
  EXPECT_EQ(LivingDecoders().size(), 1u);
}

TEST_F(DecoderTest, LabelsComeFromTheDecoderToo) {
  STiffPage tissue = MakePage<std::uint8_t>(90, 70, 1, [](auto, auto, auto) { return 7; });
  STiffPage label = MakePage<std::uint8_t>(30, 40, 1, [](auto, auto, auto) { return 200; });
  label.description = "label 30x40";
  const std::wstring file = m_house.Folder().MakeFileWide("a.tif", WriteTiff({tissue, label}));
  CQvRef<IQvImageFile> opened;
  ASSERT_EQ(NewManager()->OpenImageFile(file, opened.Out()), kQvOk);
  const auto associated = QvQuery<IQvAssociatedImages>(*opened, "IQvAssociatedImages");
  ASSERT_TRUE(associated);
  std::vector<SQvAssociatedImage> images;
  ASSERT_EQ(associated->GetAssociatedImages(&images), kQvOk);
  ASSERT_EQ(images.size(), 1u);
  EXPECT_EQ(images[0].name, CQvStringW(L"label"));
  EXPECT_EQ(images[0].height, 40u);
  CQvPicture picture;
  ASSERT_TRUE(picture.Reinit(15, 20, 8, 3, true));
  EXPECT_EQ(associated->RenderAssociatedImage(L"label", picture.Get()), kQvOk);
  EXPECT_EQ(picture.Row(10)[21], 200);
  EXPECT_EQ(associated->RenderAssociatedImage(L"macro", picture.Get()), kQvFailure);
  EXPECT_EQ(associated->RenderAssociatedImage(L"label", nullptr), kQvFailure);
  EXPECT_EQ(LivingDecoders().size(), 1u);
}

TEST_F(DecoderTest, PlatesComeFromTheDecoderToo) {
  const auto image = [](const std::string& id) {
    return "<Image ID=\"Image:" + id +
           "\"><Pixels ID=\"Pixels:0\" DimensionOrder=\"XYZCT\" Type=\"uint8\" SizeX=\"9\" SizeY=\"7\" SizeZ=\"1\" "
           "SizeC=\"1\" SizeT=\"1\"><TiffData IFD=\"" +
           id + "\" PlaneCount=\"1\"/></Pixels></Image>";
  };
  const auto well = [](const std::string& id) {
    return "<Well ID=\"Well:" + id + "\" Row=\"4\" Column=\"" + id + "\"><WellSample ID=\"WellSample:" + id +
           "\" Index=\"0\"><ImageRef ID=\"Image:" + id + "\"/></WellSample></Well>";
  };
  std::vector<STiffPage> pages(2, MakePage<std::uint8_t>(9, 7, 1, [](auto, auto, auto) { return 7; }));
  pages[1] = MakePage<std::uint8_t>(9, 7, 1, [](auto, auto, auto) { return 90; });
  pages[0].description =
      "<OME xmlns=\"http://www.openmicroscopy.org/Schemas/OME/2016-06\"><Plate ID=\"Plate:0\" "
      "Name=\"Gr\xC3\xBCn\">" +
      well("0") + well("1") + "</Plate>" + image("0") + image("1") + "</OME>";
  const std::wstring file = m_house.Folder().MakeFileWide("a.ome.tif", WriteTiff(pages));
  CQvRef<IQvImageFile> opened;
  ASSERT_EQ(NewManager()->OpenImageFile(file, opened.Out()), kQvOk);
  const auto reader = QvQuery<IQvPlate>(*opened, "IQvPlate");
  ASSERT_TRUE(reader);
  SQvPlate plate;
  ASSERT_EQ(reader->GetPlate(&plate), kQvOk);
  EXPECT_EQ(plate.name, CQvStringW(L"Gr\x00FCn"));
  ASSERT_EQ(plate.wells.size(), 2u);
  EXPECT_TRUE(plate.wells[1].isHidden);
  EXPECT_EQ(plate.wells[1].width, 9u);
  CQvPicture picture;
  ASSERT_TRUE(picture.Reinit(9, 7, 8, 3, true));
  EXPECT_EQ(reader->RenderWell(1, picture.Get()), kQvOk);
  EXPECT_EQ(picture.Row(3)[9], 90);
  EXPECT_EQ(reader->RenderWell(2, picture.Get()), kQvFailure);
  EXPECT_EQ(LivingDecoders().size(), 1u);
}

TEST_F(DecoderTest, ItKnowsTheLocalTime) {
  STiffPage page = MakePage<std::uint8_t>(9, 7, 1, [](auto, auto, auto) { return 7; });
  page.tags = [](TIFF* tiff) { TIFFSetField(tiff, TIFFTAG_DATETIME, "2021:02:03 04:05:06"); };
  const std::wstring file = m_house.Folder().MakeFileWide("a.tif", WriteTiff(page));
  const auto acquisitionTime = [&] {
    CQvRef<IQvImageFile> image;
    CQvRef<IQvMetadataReader> reader;
    double time = 0.0;
    if (NewManager()->OpenImageFile(file, image.Out()) == kQvOk &&
        image->GetMetadataReader(file, reader.Out()) == kQvOk)
      reader->GetAcquisitionTime(&time);
    return time;
  };
  setenv("TZ", "America/New_York", 1);
  tzset();
  const double seen = acquisitionTime();
  setenv("QV_DECODER", "inprocess", 1);
  EXPECT_EQ(seen, acquisitionTime());
  unsetenv("QV_DECODER");
  unsetenv("TZ");
  tzset();
  EXPECT_NE(seen, 0.0);
}

TEST_F(DecoderTest, MemoryIsDecodedThereToo) {
  const SFileBytes jpeg = EncodeJpeg(SmoothPicture(80, 60, 3));
  const CQvRef<IQvImageFormatManager> manager = NewManager();
  CQvRef<IQvImageCodec> codec;
  CQvRef<IQvPictureSource> source;
  ASSERT_EQ(manager->GetCodecByName("JPG", codec.Out()), kQvOk);
  ASSERT_EQ(codec->OpenInputMemory(jpeg.data(), jpeg.size(), source.Out()), kQvOk);
  CQvPicture picture;
  ASSERT_TRUE(picture.Reinit(80, 60, 8, 3, true));
  EXPECT_EQ(source->ReadPicture(picture.Get(), 0, 0), kQvOk);
  EXPECT_NE(picture.Row(30)[100], 0);
  EXPECT_EQ(LivingDecoders().size(), 1u);
}

TEST_F(DecoderTest, TheFilesOfASetAreHandedOver) {
  for (int z = 0; z < 3; ++z) {
    STiffPage page = MakePage<std::uint8_t>(8, 6, 1, [&](auto, auto, auto) { return 10 * (z + 1); });
    page.description =
        "<?xml version=\"1.0\"?><OME xmlns=\"http://www.openmicroscopy.org/Schemas/OME/2016-06\"><Image ID=\"Image:0\">"
        "<Pixels ID=\"Pixels:0\" DimensionOrder=\"XYZCT\" Type=\"uint8\" SizeX=\"8\" SizeY=\"6\" SizeZ=\"3\" "
        "SizeC=\"1\""
        " SizeT=\"1\">";
    for (int i = 0; i < 3; ++i) {
      page.description += "<TiffData FirstZ=\"" + std::to_string(i) +
                          "\" IFD=\"0\" PlaneCount=\"1\"><UUID FileName=\"p" + std::to_string(i) +
                          ".ome.tif\">urn:uuid:" + std::to_string(i) + "</UUID></TiffData>";
    }
    page.description += "</Pixels></Image></OME>";
    m_house.Folder().MakeFile("p" + std::to_string(z) + ".ome.tif", WriteTiff(page));
  }
  const SSeen seen = View(m_house.Folder().Wide("p0.ome.tif"));
  ASSERT_EQ(seen.status, kQvOk) << seen.reason;
  EXPECT_EQ(seen.pixels.front(), 20);
  EXPECT_EQ(LivingDecoders().size(), 1u);
}

#if defined(QV_HAVE_OPENSLIDE)
TEST_F(DecoderTest, SlidesAreTheSameAsInPlaceAlsoByALink) {
  STiffPage page = MakePage<std::uint8_t>(300, 200, 3, [](auto x, auto y, auto) { return x + y; });
  page.tile = 64;
  page.description = "Aperio Image Library v1.0\n300x200 [0,0 300x200] (64x64) LZW|AppMag = 20|MPP = 0.4990";
  page.compression = COMPRESSION_LZW;
  m_house.Folder().MakeFolder("slides");
  const std::wstring slide = m_house.Folder().MakeFileWide("slides/a.svs", WriteTiff(page));
  std::filesystem::create_symlink(m_house.Folder().Path("slides/a.svs"), m_house.Folder().Path("b.svs"));
  for (const std::wstring& path : {slide, m_house.Folder().Wide("b.svs")}) {
    const SSeen seen = View(path);
    EXPECT_EQ(seen.status, kQvOk) << seen.reason;
    EXPECT_EQ(seen, ViewInPlace(path));
  }
  EXPECT_EQ(LivingDecoders().size(), 1u);
}
#endif

#if defined(QV_HAVE_HEIF)
TEST_F(DecoderTest, HeifIsTheSameAsInPlaceAndHasADecoderOfItsOwn) {
  for (const bool av1 : {false, true}) {
    if (!CanEncodeHeif(av1)) continue;
    SHeifRecipe recipe;
    recipe.av1 = av1;
    const std::wstring file = m_house.Folder().MakeFileWide("a.heif", EncodeHeif(SmoothPicture(90, 70, 3), recipe));
    const SSeen seen = View(file);
    EXPECT_EQ(seen.status, kQvOk) << seen.reason;
    EXPECT_EQ(seen, ViewInPlace(file));
  }
  View(MakePicture());
  EXPECT_EQ(LivingDecoders().size(), 2u);
}
#endif

#if defined(QV_HAVE_JXL)
TEST_F(DecoderTest, JpegXlIsTheSameAsInPlaceAndHasADecoderOfItsOwn) {
  const std::wstring file = m_house.Folder().MakeFileWide("a.jxl", EncodeJxl(SmoothPicture(90, 70, 3)));
  const SSeen seen = View(file);
  EXPECT_EQ(seen.status, kQvOk) << seen.reason;
  EXPECT_EQ(seen, ViewInPlace(file));
  View(MakePicture());
  EXPECT_EQ(LivingDecoders().size(), 2u);
}
#endif

TEST_F(DecoderTest, OneDecoderServesOneManagerAfterTheOther) {
  const std::wstring file = MakePicture();
  View(file);
  const std::vector<pid_t> first = LivingDecoders();
  ASSERT_EQ(first.size(), 1u);
  for (int i = 0; i < 20; ++i) EXPECT_EQ(View(file).status, kQvOk);
  EXPECT_EQ(LivingDecoders(), first);
}

TEST_F(DecoderTest, ManagersAtWorkAtOnceHaveADecoderEach) {
  const std::wstring file = MakePicture();
  const CQvRef<IQvImageFormatManager> a = NewManager(), b = NewManager();
  EXPECT_EQ(View(*a, file), View(*b, file));
  EXPECT_EQ(LivingDecoders().size(), 2u);
}

TEST_F(DecoderTest, OneThatWasEndedFromOutsideIsStartedAgain) {
  const std::wstring file = MakePicture();
  const CQvRef<IQvImageFormatManager> manager = NewManager();
  const SSeen seen = View(*manager, file);
  for (const pid_t pid : LivingDecoders()) Kill(pid);
  EXPECT_EQ(View(*manager, file), seen);
  EXPECT_FALSE(std::filesystem::exists(m_house.ListPath()));
}

TEST_F(DecoderTest, AnOpenPictureOutlivesItsDecoder) {
  const std::wstring file = MakePicture();
  const CQvRef<IQvImageFormatManager> manager = NewManager();
  CQvRef<IQvImageCodec> codec;
  CQvRef<IQvPictureSource> source;
  ASSERT_EQ(manager->GetCodecForFile(file, codec.Out()), kQvOk);
  ASSERT_EQ(codec->OpenInputFile(file, source.Out()), kQvOk);
  for (const pid_t pid : LivingDecoders()) Kill(pid);
  CQvPicture picture;
  ASSERT_TRUE(picture.Reinit(80, 60, 8, 3, true));
  EXPECT_EQ(source->ReadPicture(picture.Get(), 0, 0), kQvOk);
  EXPECT_NE(picture.Row(30)[100], 0);
}

TEST_F(DecoderTest, OneThatStandsStillCostsOnePicture) {
  const std::wstring file = MakePicture();
  const CQvRef<IQvImageFormatManager> manager = NewManager();
  ASSERT_EQ(View(*manager, file).status, kQvOk);
  CDecoder::SetPatienceForTest(500ms, {});
  for (const pid_t pid : LivingDecoders()) kill(pid, SIGSTOP);
  const SSeen seen = View(*manager, file);
  EXPECT_EQ(seen.status, kQvFailure);
  EXPECT_EQ(seen.reason, "The decoder stood still and was ended");
  CDecoder::SetPatienceForTest(30s, {});
  EXPECT_EQ(View(*manager, file).status, kQvOk);
}

TEST_F(DecoderTest, OneThatNeverStopsWorkingIsEnded) {
  m_house.UseFake("busy");
  CDecoder::SetPatienceForTest(30s, 500ms);
  const SSeen seen = View(MakePicture());
  EXPECT_EQ(seen.status, kQvFailure);
  EXPECT_EQ(seen.reason, imageformats::TimeExceeded(imageformats::kLeastTime));
  EXPECT_TRUE(LivingDecoders().empty());
}

TEST_F(DecoderTest, OneThatDoesWrongCostsOnePictureAndIsEnded) {
  CDecoder::SetPatienceForTest(500ms, {});
  const CQvRef<IQvImageFormatManager> manager = NewManager();
  int number = 0;
  for (const char* wrong : {"crash", "exit", "stop", "garbage", "crumb", "huge", "cut", "empty", "question", "status",
                            "success", "lists", "loops", "nagging"}) {
    SCOPED_TRACE(wrong);
    m_house.UseFake(wrong);
    const SSeen seen = View(*manager, MakePicture(std::to_string(++number) + ".jpg"));
    EXPECT_EQ(seen.status, kQvFailure);
    EXPECT_FALSE(seen.reason.empty());
  }
  m_house.UseTrue();
  EXPECT_EQ(View(*manager, MakePicture("sound.jpg")).status, kQvOk);
}

TEST_F(DecoderTest, ImpossibleSizesAreNotBelieved) {
  m_house.UseFake("giant");
  const std::wstring file = MakePicture();
  const CQvRef<IQvImageFormatManager> manager = NewManager();
  CQvRef<IQvImageCodec> codec;
  CQvRef<IQvPictureSource> source;
  SQvImageInfo info;
  CQvPicture picture;
  ASSERT_EQ(manager->GetCodecForFile(file, codec.Out()), kQvOk);
  ASSERT_EQ(codec->OpenInputFile(file, source.Out()), kQvOk);
  ASSERT_EQ(source->GetPictureInfo(&info), kQvOk);
  EXPECT_FALSE(picture.Reinit(info.width, info.height, info.bpcInMemory, info.components, false));
  CQvByteArray bytes;
  EXPECT_EQ(source->GetCustomTag(L"QvCustomTag:ThumbailJpg", &bytes), kQvFailure);
}

TEST_F(DecoderTest, TheReasonSaysHowItDied) {
  m_house.UseFake("crash");
  EXPECT_EQ(View(MakePicture("a.jpg")).reason, "The decoder died of it (signal 11)");
  m_house.UseFake("exit");
  EXPECT_EQ(View(MakePicture("b.jpg")).reason, "The decoder died of it (exit status 7)");
}

TEST_F(DecoderTest, AFileThatItDiedOfTwiceIsLeftAloneUntilItChanges) {
  const std::wstring file = MakePicture(), other = MakePicture("b.jpg");
  m_house.UseFake("crash");
  View(file);
  m_house.UseTrue();
  EXPECT_EQ(View(file).status, kQvOk);
  m_house.UseFake("crash");
  View(file);
  m_house.UseTrue();
  EXPECT_EQ(View(file).reason,
            "Decoding this file ended the decoder twice; it is not tried again until the file changes");
  EXPECT_TRUE(LivingDecoders().empty() || View(other).status == kQvOk);
  std::filesystem::last_write_time(m_house.Folder().Path("a.jpg"), std::filesystem::file_time_type::clock::now() + 5s);
  EXPECT_EQ(View(file).status, kQvOk);
}

// In a process of its own, as what is reported once is in the life of a process.
TEST_F(DecoderTest, OneThatNeverGetsReadyIsReportedOnceWithItsEnd) {
  const SWorkResult viewer = RunForked(1ull << 32, [&] {
    m_house.UseFake("unready-exit");
    CDiagRecorder diagnostics;
    for (int i = 0; i < 5; ++i) View(MakePicture());
    const std::vector<std::wstring> messages = diagnostics.TakeTexts();
    return messages.size() == 1 ? CQvStringUtils::WtoUTF8(messages[0].c_str()).Str() : std::string("another number");
  });
  EXPECT_NE(viewer.answer.find("unready-exit: The decoder ended before it was ready (exit status 127)"),
            std::string::npos)
      << viewer.answer;
}

TEST_F(DecoderTest, OneThatCannotBeStartedIsDoneWithoutAndReportedOnce) {
  const std::wstring file = MakePicture();
  imageformats::SetDecoderProgramForTest(m_house.Folder().Path("missing"));
  CDiagRecorder diagnostics;
  EXPECT_EQ(View(file).status, kQvOk);
  EXPECT_EQ(View(file), ViewInPlace(file));
  EXPECT_EQ(diagnostics.Take().size(), 1u);
  EXPECT_TRUE(LivingDecoders().empty());
}

// Pictures are decoded in place then, and the files keep their good name.
TEST_F(DecoderTest, OneThatNeverGetsReadyCostsNoFile) {
  for (const char* wrong : {"unready-exit", "unready-killed", "unready-answer"}) {
    SCOPED_TRACE(wrong);
    m_house.UseFake(wrong);
    for (int i = 0; i < 2; ++i) EXPECT_EQ(View(MakePicture()).status, kQvOk);
    EXPECT_FALSE(std::filesystem::exists(m_house.ListPath()));
    m_house.UseTrue();
    EXPECT_EQ(View(MakePicture()).status, kQvOk);
    EXPECT_EQ(LivingDecoders().size(), 1u) << "one that failed for a moment is tried again";
  }
}

TEST_F(DecoderTest, SeveralThatNeverGetReadyAreEnough) {
  const SWorkResult viewer = RunForked(1ull << 32, [&] {
    m_house.UseFake("unready-exit");
    for (int i = 0; i < 3; ++i) View(MakePicture());
    m_house.UseTrue();
    const bool isSeen = View(MakePicture()).status == kQvOk;
    return isSeen && LivingDecoders().empty() ? "in place" : "tried again";
  });
  EXPECT_EQ(viewer.answer, "in place");
}

TEST_F(DecoderTest, OneThatKeepsItsViewerWaitingIsNotStartedAgain) {
  for (const char* wrong : {"unready-stop", "unready-busy"}) {
    const SWorkResult viewer = RunForked(1ull << 32, [&] {
      m_house.UseFake(wrong);
      CDecoder::SetPatienceForTest(500ms, 500ms);
      const bool isSeen = View(MakePicture()).status == kQvOk;
      const bool isNoted = std::filesystem::exists(m_house.ListPath());
      m_house.UseTrue();
      View(MakePicture());
      return isSeen && !isNoted && LivingDecoders().empty() ? "in place" : "otherwise";
    });
    EXPECT_EQ(viewer.answer, "in place") << wrong;
  }
}

TEST_F(DecoderTest, AKnownTroublemakerIsNotDecodedInPlaceEither) {
  const std::wstring file = MakePicture();
  m_house.UseFake("crash");
  for (int i = 0; i < 2; ++i) View(file);
  m_house.UseFake("unready-exit");
  EXPECT_EQ(View(file).status, kQvFailure);
  m_house.UseTrue();
  EXPECT_EQ(View(MakePicture("b.jpg")).status, kQvOk);
}

TEST_F(DecoderTest, ItCanBeTurnedOff) {
  CDiagRecorder diagnostics;
  EXPECT_EQ(ViewInPlace(MakePicture()).status, kQvOk);
  EXPECT_TRUE(LivingDecoders().empty());
  EXPECT_TRUE(diagnostics.Take().empty());
}

TEST_F(DecoderTest, NothingOfTheViewersIsInIt) {
  setenv("QV_TEST_SECRET", "secret", 1);
  const std::string secret = m_house.Folder().MakeFile("secret", "secret");
  const int leaky = open(secret.c_str(), O_RDONLY);
  View(MakePicture());
  const std::vector<pid_t> decoders = LivingDecoders();
  ASSERT_EQ(decoders.size(), 1u);
  const std::string place = "/proc/" + std::to_string(decoders.front());
  std::error_code denied;
  std::size_t handles = 0;
  for (const auto& handle : std::filesystem::directory_iterator(place + "/fd", denied)) {
    EXPECT_NE(std::filesystem::read_symlink(handle.path()).string(), secret);
    ++handles;
  }
  close(leaky);
  unsetenv("QV_TEST_SECRET");
  if (denied) GTEST_SKIP() << "only root sees the decoder's files";
  EXPECT_LE(handles, 7u);  // three to nothing, the connection, the lifeline, memory
  std::ifstream environment(place + "/environ");
  std::string first;
  EXPECT_FALSE(std::getline(environment, first));
}

TEST_F(DecoderTest, ItEndsWithItsViewer) {
  const std::wstring file = MakePicture();
  const SWorkResult viewer = RunForked(1ull << 32, [&] {
    View(file);
    return std::to_string(LivingDecoders().at(0));
  });
  ASSERT_EQ(viewer.status, 0);
  const pid_t decoder = std::stoi(viewer.answer);
  for (int i = 0; i < 5000 && IsAlive(decoder); ++i) std::this_thread::sleep_for(1ms);
  EXPECT_FALSE(IsAlive(decoder));
}

TEST_F(DecoderTest, ACopyOfTheViewerHasADecoderOfItsOwn) {
  const std::wstring file = MakePicture();
  const CQvRef<IQvImageFormatManager> manager = NewManager();
  const SSeen seen = View(*manager, file);
  const std::vector<pid_t> own = LivingDecoders();
  const SWorkResult copy =
      RunForked(1ull << 32, [&] { return View(*manager, file) == seen && View(file) == seen ? "same" : "other"; });
  EXPECT_EQ(copy.answer, "same");
  EXPECT_EQ(LivingDecoders(), own);
  EXPECT_EQ(View(*manager, file), seen);
}

TEST_F(DecoderTest, AViewerThatWaitsForAnyChildIsNotConfused) {
  const std::wstring file = MakePicture();
  const CQvRef<IQvImageFormatManager> manager = NewManager();
  const SSeen seen = View(*manager, file);
  for (const pid_t pid : LivingDecoders()) Kill(pid);
  while (waitpid(-1, nullptr, WNOHANG) > 0) continue;
  EXPECT_EQ(View(*manager, file), seen);
}

}  // namespace
}  // namespace decodertest
