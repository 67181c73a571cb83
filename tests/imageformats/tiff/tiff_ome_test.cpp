// OME-TIFF: which planes are shown, and what becomes of the document.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/render/channel_composite.h"
#include "tests/imageformats/tiff/tiff_ome_document.h"
#include "tests/support/tiff_writer.h"

namespace tifftest {
namespace {

using namespace qvtest;

int ShownGrey(int pages, const std::string& pixels) {
  const SRgb color = Shown(Pages(pages, Document(pixels)));
  EXPECT_EQ(color.r, color.g);
  EXPECT_EQ(color.r, color.b);
  return color.r;
}

TEST(TiffOme, MiddlePlaneOfTheFirstTime) {
  EXPECT_EQ(30, ShownGrey(10, Pixels("XYZCT", 5, 1, 2, "<TiffData/>")));
  EXPECT_EQ(50, ShownGrey(10, Pixels("XYTCZ", 5, 1, 2, "<TiffData/>")));  // 0, 2, 4 have the first time
  EXPECT_EQ(30, ShownGrey(4, Pixels("XYZCT", 4, 1, 1, "<TiffData/>")));
}

TEST(TiffOme, ChannelsInEveryDimensionOrder) {
  const std::string colors =
      "<Channel ID=\"C:0\" Color=\"-16776961\"/><Channel ID=\"C:1\" Color=\"65535\"/>";  // red, blue
  // Planes: z 3, c 2, t 2; the wanted one has z 1, t 0.
  const auto index = [](int z, int c, int t) { return 10 * (1 + z + c + t); };
  EXPECT_EQ((SRgb{index(1, 0, 0), 0, index(1, 3, 0)}),
            Shown(Pages(12, Document(Pixels("XYZCT", 3, 2, 2, colors + "<TiffData/>")))));
  EXPECT_EQ((SRgb{index(1, 0, 0), 0, index(1, 6, 0)}),
            Shown(Pages(12, Document(Pixels("XYZTC", 3, 2, 2, colors + "<TiffData/>")))));
  EXPECT_EQ((SRgb{index(2, 0, 0), 0, index(2, 1, 0)}),
            Shown(Pages(12, Document(Pixels("XYCZT", 3, 2, 2, colors + "<TiffData/>")))));
  EXPECT_EQ((SRgb{index(4, 0, 0), 0, index(4, 1, 0)}),
            Shown(Pages(12, Document(Pixels("XYCTZ", 3, 2, 2, colors + "<TiffData/>")))));
  EXPECT_EQ((SRgb{index(2, 0, 0), 0, index(2, 6, 0)}),
            Shown(Pages(12, Document(Pixels("XYTZC", 3, 2, 2, colors + "<TiffData/>")))));
  EXPECT_EQ((SRgb{index(4, 0, 0), 0, index(4, 2, 0)}),
            Shown(Pages(12, Document(Pixels("XYTCZ", 3, 2, 2, colors + "<TiffData/>")))));
}

TEST(TiffOme, TiffDataMapsPlanesToDirectories) {
  EXPECT_EQ(20,
            ShownGrey(3, Pixels("XYZCT", 3, 1, 1,
                                "<TiffData FirstZ=\"0\" IFD=\"2\"/><TiffData FirstZ=\"1\" IFD=\"1\" PlaneCount=\"1\"/>"
                                "<TiffData FirstZ=\"2\" IFD=\"0\" NumPlanes=\"1\"/>")));
  EXPECT_EQ(40, ShownGrey(4, Pixels("XYZCT", 3, 1, 1, "<TiffData IFD=\"2\" PlaneCount=\"3\"/>")));
}

TEST(TiffOme, WithoutTiffDataThePagesComeInOrder) {
  const std::string channels = "<Channel ID=\"C:0\" Color=\"-16776961\"/><Channel ID=\"C:1\" Color=\"65535\"/>";
  CTestImage image(WriteTiff(Pages(6, Document(Pixels("XYCZT", 3, 2, 1, channels, "PhysicalSizeX=\"0.25\"")))));
  EXPECT_EQ((SRgb{30, 0, 40}), Shown(image));
  const auto metadata = image->Metadata();
  EXPECT_DOUBLE_EQ(0.25, metadata.calibration);
  ASSERT_EQ(2u, metadata.loops.size());
  EXPECT_EQ(3u, metadata.loops[0].size);
  EXPECT_EQ(2u, metadata.loops[1].size);
  // Pixels that the document says lie elsewhere are still those of the file.
  EXPECT_EQ(20, ShownGrey(3, Pixels("XYZCT", 3, 1, 1, "<MetadataOnly/>")));
}

TEST(TiffOme, ImagesWithoutTiffDataFollowEachOther) {
  const std::string second = "<Image ID=\"Image:1\">" + Pixels("XYZCT", 3, 1, 1, "") + "</Image></OME>";
  std::string document = Document(Pixels("XYZCT", 3, 1, 1, ""));
  document.replace(document.size() - 6, 6, second);
  CTestImage image(WriteTiff(Pages(6, document)));
  EXPECT_EQ((SRgb{20, 20, 20}), Shown(image));
  EXPECT_EQ(6u, image->Info().sequenceCount);
}

TEST(TiffOme, PixelsInsideTheDocumentAreNotThePages) {
  const SRgb shown = Shown(Pages(3, Document(Pixels("XYZCT", 3, 1, 1, "<BinData Length=\"4\">AAAA</BinData>"))));
  EXPECT_EQ((SRgb{10, 10, 10}), shown);
}

TEST(TiffOme, MissingPlanesGiveWayToTheNearest) {
  EXPECT_EQ(10, ShownGrey(2, Pixels("XYZCT", 9, 1, 1,
                                    "<TiffData FirstZ=\"3\" IFD=\"0\" PlaneCount=\"1\"/>"
                                    "<TiffData FirstZ=\"8\" IFD=\"1\" PlaneCount=\"1\"/>"
                                    "<TiffData FirstZ=\"4\" IFD=\"77\" PlaneCount=\"1\"/>")));
}

TEST(TiffOme, DefaultColorsMeanNone) {
  const std::string same = "<Channel ID=\"C:0\" Color=\"-1\"/><Channel ID=\"C:1\" Color=\"-1\"/>";
  EXPECT_EQ((SRgb{10, 20, 0}), Shown(Pages(2, Document(Pixels("XYCZT", 1, 2, 1, same + "<TiffData/>")))));
  const std::string old = "<Channel Color=\"-2147483648\"/><Channel Color=\"-2147483648\"/>";
  EXPECT_EQ((SRgb{10, 20, 0}), Shown(Pages(2, Document(Pixels("XYCZT", 1, 2, 1, old + "<TiffData/>")))));
  // A single channel of that default is grey.
  EXPECT_EQ((SRgb{10, 10, 10}),
            Shown(Pages(1, Document(Pixels("XYCZT", 1, 1, 1, "<Channel Color=\"-2147483648\"/><TiffData/>")))));
}

TEST(TiffOme, LightTellsTheColorWhereNothingElseDoes) {
  const std::string light = "<Channel EmissionWavelength=\"460\"/><Channel EmissionWavelength=\"520\"/>";
  CTestImage image(WriteTiff(Pages(2, Document(Pixels("XYCZT", 1, 2, 1, light + "<TiffData/>")))));
  const SRgb color = Shown(image);
  EXPECT_GT(color.g, 19);
  EXPECT_GT(color.b, 9);
  EXPECT_LT(color.r, 10);
  const auto planes = image->Metadata().picture.planes.planes;
  ASSERT_EQ(2u, planes.size());
  EXPECT_EQ(imageformats::WavelengthColor(460), planes[0].color) << "told as shown";
  EXPECT_EQ(imageformats::WavelengthColor(520), planes[1].color);
}

TEST(TiffOme, SignedBytesAreOnlyCalledSigned) {
  std::vector<STiffPage> pages = Pages(1, Document(Pixels("XYCZT", 1, 1, 1, "<TiffData/>", "", "int8")));
  pages[0].format = SAMPLEFORMAT_INT;
  EXPECT_EQ((SRgb{10, 10, 10}), Shown(pages));
}

TEST(TiffOme, ColorPlanesAreShownAsStored) {
  STiffPage page = MakePage<std::uint8_t>(8, 6, 3, [](auto, auto, std::uint32_t s) { return 50 + 50 * s; });
  page.description = Document(Pixels("XYCZT", 1, 3, 1, "<Channel SamplesPerPixel=\"3\"/><TiffData/>"));
  EXPECT_EQ((SRgb{50, 100, 150}), Shown({page}));
  CTestImage image(WriteTiff(page));
  const auto metadata = image->Metadata();
  ASSERT_EQ(1u, metadata.picture.planes.planes.size());
  EXPECT_EQ(3u, metadata.picture.planes.planes[0].components);
  EXPECT_TRUE(metadata.loops.empty());
  // A document that counts samples as channels, or does not count them at all.
  page.description = Document(Pixels("XYCZT", 1, 3, 1, "<TiffData/>"));
  EXPECT_EQ((SRgb{50, 100, 150}), Shown({page}));
  page.description = Document(Pixels("XYCZT", 1, 1, 1, "<TiffData/>"));
  EXPECT_EQ((SRgb{50, 100, 150}), Shown({page}));
}

TEST(TiffOme, LevelsInSubIfds) {
  std::vector<STiffPage> pages = {MakePage<std::uint8_t>(64, 48, 1, [](auto, auto, auto) { return 10; }),
                                  MakePage<std::uint8_t>(32, 24, 1, [](auto, auto, auto) { return 20; }),
                                  MakePage<std::uint8_t>(64, 48, 1, [](auto, auto, auto) { return 30; }),
                                  MakePage<std::uint8_t>(32, 24, 1, [](auto, auto, auto) { return 40; })};
  pages[0].description = Document(Pixels("XYCZT", 1, 2, 1, "<TiffData/>"));
  pages[0].subIfds = pages[2].subIfds = 1;
  CTestImage image(WriteTiff(pages));
  EXPECT_EQ((SRgb{10, 30, 0}), Render(image, 40, 30).At(5, 5));
  EXPECT_EQ((SRgb{20, 40, 0}), Render(image, 32, 24).At(5, 5));
}

TEST(TiffOme, LoopsAndPlanes) {
  const std::string inside =
      "<Channel Name=\"DAPI\" Color=\"65535\" ExcitationWavelength=\"358\" EmissionWavelength=\"0.461\" "
      "EmissionWavelengthUnit=\"&#181;m\" AcquisitionMode=\"WideField\" ContrastMethod=\"Fluorescence\"/>"
      "<Channel Name=\"GFP\" Color=\"16711935\" AcquisitionMode=\"LaserScanningConfocalMicroscopy\"/><TiffData/>"
      "<Plane TheZ=\"0\" TheC=\"0\" TheT=\"0\" ExposureTime=\"20\" ExposureTimeUnit=\"ms\" PositionX=\"1.5\" "
      "PositionXUnit=\"mm\" PositionY=\"-2\" PositionYUnit=\"mm\"/>";
  const std::string attributes =
      "PhysicalSizeX=\"250\" PhysicalSizeXUnit=\"nm\" PhysicalSizeY=\"0.5\" PhysicalSizeZ=\"2\" TimeIncrement=\"1.5\" "
      "TimeIncrementUnit=\"min\" SignificantBits=\"7\"";
  CTestImage image(WriteTiff(Pages(12, Document(Pixels("XYZCT", 3, 2, 2, inside, attributes)))));
  const imageformats::SImageMetadata metadata = image->Metadata();
  ASSERT_EQ(3u, metadata.loops.size());
  EXPECT_EQ(std::uint32_t{kQvLoopTime}, metadata.loops[0].type);
  EXPECT_EQ(2u, metadata.loops[0].size);
  EXPECT_DOUBLE_EQ(90.0, metadata.loops[0].step);
  EXPECT_EQ(std::uint32_t{kQvLoopZ}, metadata.loops[1].type);
  EXPECT_EQ(3u, metadata.loops[1].size);
  EXPECT_DOUBLE_EQ(2.0, metadata.loops[1].step);
  EXPECT_EQ(std::uint32_t{kQvLoopLambda}, metadata.loops[2].type);
  ASSERT_EQ(2u, metadata.loops[2].channels.size());
  EXPECT_DOUBLE_EQ(20.0, metadata.loops[2].channels[0].exposureTime);
  ASSERT_EQ(2u, metadata.picture.planes.planes.size());
  const SQvPicturePlane& dapi = metadata.picture.planes.planes[0];
  EXPECT_EQ(CQvStringW(L"DAPI"), dapi.name);
  EXPECT_EQ(0x0000FFu, dapi.color);
  EXPECT_DOUBLE_EQ(358.0, dapi.excitationWavelength);
  EXPECT_DOUBLE_EQ(461.0, dapi.emissionWavelength);
  EXPECT_EQ(std::uint32_t{kQvModalityWidefieldFluorescence}, dapi.modality);
  EXPECT_EQ(std::uint32_t{kQvModalityConfocal}, metadata.picture.planes.planes[1].modality);
  EXPECT_DOUBLE_EQ(0.25, metadata.calibration);
  EXPECT_DOUBLE_EQ(2.0, metadata.aspect);
  EXPECT_DOUBLE_EQ(2.0, metadata.picture.zStep);
  EXPECT_EQ(6u, image->Info().sequenceCount);
  EXPECT_EQ(7, image->Info().bpcSignificant);
  EXPECT_EQ(CQvStringW(L"1.5, -2 mm"), metadata.text.location);
}

TEST(TiffOme, TextsOfTheCurrentSchema) {
  const std::string before =
      "<Experimenter ID=\"E:0\" FirstName=\"Ada\" LastName=\"Lovelace\"/><Experimenter ID=\"E:1\" UserName=\"other\"/>"
      "<ExperimenterGroup ID=\"G:0\" Name=\"Engines\"/><Experiment ID=\"X:0\" Type=\"TimeLapse\"/>"
      "<Instrument ID=\"I:0\"><Microscope Manufacturer=\"Maker\" Model=\"Two\" Type=\"Inverted\"/>"
      "<Detector ID=\"D:0\" Model=\"Camera 5\"/><Objective ID=\"O:0\" Model=\"Plan 20x\" LensNA=\"0.75\" "
      "NominalMagnification=\"20\" Immersion=\"Air\"/><Objective ID=\"O:1\" Model=\"wrong\"/></Instrument>"
      "<Plate ID=\"P:0\" Name=\"Plate 7\"><Well ID=\"W:0\" Row=\"1\" Column=\"2\"><WellSample ID=\"S:0\"><ImageRef "
      "ID=\"Image:0\"/></WellSample></Well></Plate>";
  const std::string inside =
      "<AcquisitionDate>2019-06-27T18:33:40.5</AcquisitionDate><Description>A &lt;fine&gt; slide</Description>"
      "<ExperimenterRef ID=\"E:0\"/><ExperimenterGroupRef ID=\"G:0\"/><ExperimentRef ID=\"X:0\"/><InstrumentRef "
      "ID=\"I:0\"/><ObjectiveSettings ID=\"O:0\"/><StageLabel Name=\"B3\"/>";
  const std::string pixels = Pixels("XYZCT", 1, 1, 1,
                                    "<Channel ID=\"C:0\" Name=\"Bright\" AcquisitionMode=\"WideField\">"
                                    "<DetectorSettings ID=\"D:0\"/></Channel><TiffData/>");
  CTestImage image(WriteTiff(Pages(1, Document(pixels, inside, before))));
  const imageformats::SImageMetadata metadata = image->Metadata();
  const SQvImageTextInfo& text = metadata.text;
  EXPECT_EQ(CQvStringW(L"Slide 1"), text.imageID);
  EXPECT_EQ(CQvStringW(L"OME-TIFF, TimeLapse"), text.type);
  EXPECT_EQ(CQvStringW(L"Engines"), text.group);
  EXPECT_EQ(CQvStringW(L"Plate 7 B3"), text.sampleID);
  EXPECT_EQ(CQvStringW(L"Ada Lovelace"), text.author);
  EXPECT_EQ(CQvStringW(L"A <fine> slide"), text.description);
  EXPECT_EQ(CQvStringW(L"Maker Two Inverted, WideField, Camera 5"), text.capturing);
  EXPECT_EQ(CQvStringW(L"B3"), text.location);
  EXPECT_EQ(CQvStringW(L"2019-06-27T18:33:40.5"), text.date);
  EXPECT_EQ(CQvStringW(L"Bright"), text.info1);
  EXPECT_EQ(CQvStringW(L"Plan 20x, 20x, NA 0.75, Air"), text.optics);
  EXPECT_EQ(CQvStringW(L"Plan 20x"), metadata.objective);
  EXPECT_DOUBLE_EQ(0.75, metadata.picture.numericalAperture);
  EXPECT_DOUBLE_EQ(20.0, metadata.picture.objectiveMagnification);
  EXPECT_NEAR(2458662.273385, metadata.acquisitionTime, 1e-6);
}

TEST(TiffOme, TextsOfTheFirstSchemas) {
  const std::string fc =
      "<?xml version=\"1.0\"?><OME:OME xmlns:OME=\"http://www.openmicroscopy.org/XMLschemas/OME/FC/ome.xsd\">"
      "<OME:Experimenter ExperimenterID=\"E1\"><OME:FirstName>Ada</OME:FirstName><OME:LastName>L</OME:LastName>"
      "</OME:Experimenter><OME:Instrument InstrumentID=\"I1\"><OME:Objective ObjectiveID=\"O1\" Model=\"Plan 40\">"
      "<OME:LensNA>1.3</OME:LensNA><OME:Magnification>40</OME:Magnification></OME:Objective></OME:Instrument>"
      "<OME:Image ImageID=\"M1\" Name=\"old\" PixelSizeX=\"0.2\" PixelSizeY=\"0.2\" PixelSizeZ=\"1\">"
      "<OME:CreationDate>2003-05-06T07:08:09</OME:CreationDate><OME:ExperimenterRef ExperimenterID=\"E1\"/>"
      "<OME:InstrumentRef InstrumentID=\"I1\" ObjectiveID=\"O1\"/>"
      "<OME:ChannelInfo Name=\"FITC\" ExWave=\"490\" EmWave=\"525\" Mode=\"Wide-field\"><OME:ChannelComponent "
      "ColorDomain=\"G\"/></OME:ChannelInfo><OME:Pixels DimensionOrder=\"XYZCT\" PixelType=\"Uint8\" SizeX=\"8\" "
      "SizeY=\"6\" SizeZ=\"3\" SizeC=\"1\" SizeT=\"1\"><OME:TiffData/></OME:Pixels></OME:Image></OME:OME>";
  CTestImage image(WriteTiff(Pages(3, fc)));
  EXPECT_EQ((SRgb{0, 20, 0}), Shown(image));
  const imageformats::SImageMetadata metadata = image->Metadata();
  EXPECT_EQ(CQvStringW(L"Ada L"), metadata.text.author);
  EXPECT_EQ(CQvStringW(L"Plan 40"), metadata.objective);
  EXPECT_DOUBLE_EQ(1.3, metadata.picture.numericalAperture);
  EXPECT_DOUBLE_EQ(40.0, metadata.picture.objectiveMagnification);
  EXPECT_DOUBLE_EQ(0.2, metadata.calibration);
  EXPECT_DOUBLE_EQ(1.0, metadata.picture.zStep);
  ASSERT_EQ(1u, metadata.picture.planes.planes.size());
  EXPECT_EQ(CQvStringW(L"FITC"), metadata.picture.planes.planes[0].name);
  EXPECT_DOUBLE_EQ(525.0, metadata.picture.planes.planes[0].emissionWavelength);
  EXPECT_EQ(std::uint32_t{kQvModalityWidefieldFluorescence}, metadata.picture.planes.planes[0].modality);
  EXPECT_NEAR(2452765.79732, metadata.acquisitionTime, 1e-4);
}

TEST(TiffOme, ImagesOfOneShapeArePositions) {
  std::string document = kOpen;
  for (int i = 0; i < 3; ++i) {
    document +=
        "<Image ID=\"Image:" + std::to_string(i) + "\" Name=\"field " + std::to_string(i) + "\">" +
        Pixels("XYZCT", 1, 1, 1,
               "<TiffData IFD=\"" + std::to_string(i) + "\"/><Plane TheZ=\"0\" TheC=\"0\" TheT=\"0\" PositionX=\"" +
                   std::to_string(100 * i) + "\" PositionY=\"7\"/>") +
        "</Image>";
  }
  document +=
      "<Image ID=\"Image:9\"><Pixels DimensionOrder=\"XYZCT\" Type=\"uint8\" SizeX=\"4\" SizeY=\"3\"><TiffData "
      "IFD=\"0\"/></Pixels></Image></OME>";
  CTestImage image(WriteTiff(Pages(3, document)));
  EXPECT_EQ(10, Shown(image).r);
  EXPECT_EQ(3u, image->Info().sequenceCount);
  const auto metadata = image->Metadata();
  ASSERT_EQ(1u, metadata.loops.size());
  EXPECT_EQ(std::uint32_t{kQvLoopXYPosition}, metadata.loops[0].type);
  ASSERT_EQ(3u, metadata.loops[0].positions.size());
  EXPECT_EQ(CQvStringW(L"field 2"), metadata.loops[0].positions[2].name);
  EXPECT_DOUBLE_EQ(200.0, metadata.loops[0].positions[2].x);
}

TEST(TiffOme, DocumentsThatWereCutOffAreDamage) {
  const std::string whole = Document(Pixels("XYZCT", 1, 1, 1, "<TiffData/>"));
  ASSERT_EQ(0, StatusOf(WriteTiff(Pages(1, whole))));
  for (std::size_t size = whole.find("<OME") + 6; size + 1 < whole.size(); ++size) {
    EXPECT_EQ(-9, StatusOf(WriteTiff(Pages(1, whole.substr(0, size))))) << whole.substr(0, size);
  }
  const std::string declared = "<?xml version=\"1.0\"?><!-- Warning: this comment is an OME-XML metadata block";
  EXPECT_EQ(-9, StatusOf(WriteTiff(Pages(1, declared))));
  EXPECT_EQ(-9, StatusOf(WriteTiff(Pages(1, "<OME ><!DOCTYPE a [<!ENTITY b SYSTEM \"/etc/passwd\">]></OME>"))));
}

// As of a file that is being copied: libtiff itself leaves a tag out whose value is not there.
TEST(TiffOme, ADescriptionBehindTheEndIsDamage) {
  for (const char* mode : {"wl", "wb", "wl8"}) {
    // The directory is written anew, its texts before it; then the document is moved to the end.
    std::vector<std::uint8_t> file = WriteTiff(Pages(1, Document(Pixels("XYZCT", 1, 1, 1, "<TiffData/>"))), mode);
    const std::string start = "<?xml";
    const auto place = std::search(file.begin(), file.end(), start.begin(), start.end());
    const auto from = static_cast<std::size_t>(place - file.begin());
    const std::vector<std::uint8_t> text(place, std::find(place, file.end(), 0) + 1);
    const std::size_t word = std::string(mode) == "wl8" ? 8 : 4;
    const auto number = [&](std::size_t value) {
      std::vector<std::uint8_t> bytes(word);
      for (std::size_t i = 0; i < word; ++i) {
        bytes[mode[1] == 'b' ? word - 1 - i : i] = static_cast<std::uint8_t>(value >> (8 * i));
      }
      return bytes;
    };
    const std::vector<std::uint8_t> before = number(from), after = number(file.size());
    const auto pointer = std::search(file.begin(), file.end(), before.begin(), before.end());
    ASSERT_NE(pointer, file.end());
    std::copy(after.begin(), after.end(), pointer);
    file.insert(file.end(), text.begin(), text.end());
    ASSERT_EQ(0, StatusOf(file)) << mode;
    for (std::size_t cut = 1; cut <= text.size(); cut += 7) {
      EXPECT_EQ(-9, StatusOf({file.begin(), file.end() - static_cast<std::ptrdiff_t>(cut)})) << mode << ' ' << cut;
    }
  }
}

TEST(TiffOme, DocumentsThatDescribeNoImageLeaveAPlainPicture) {
  for (const std::string& document :
       {Document(""), Document(Pixels("XYZCT", 2000000, 2000000, 2000000, "<TiffData/>"))}) {
    CTestImage image(WriteTiff(Pages(1, document)));
    EXPECT_EQ(10, Shown(image).r);
  }
}

}  // namespace
}  // namespace tifftest
