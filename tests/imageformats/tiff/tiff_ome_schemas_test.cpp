// The same acquisition in the words of every published schema.

#include <gtest/gtest.h>

#include <string>

#include "tests/imageformats/tiff/tiff_test_image.h"
#include "tests/support/tiff_writer.h"

namespace tifftest {
namespace {

using namespace qvtest;

// 2003: everything has a prefix, identifiers are named after their element, details are elements.
std::string First(const std::string&) {
  return "<OME:OME xmlns:OME=\"http://www.openmicroscopy.org/XMLschemas/OME/FC/ome.xsd\">"
         "<OME:Experimenter ExperimenterID=\"urn:lsid:E1\"><OME:FirstName>Ada</OME:FirstName><OME:LastName>Byron"
         "</OME:LastName><OME:GroupRef GroupID=\"urn:lsid:G1\"/></OME:Experimenter>"
         "<OME:Group GroupID=\"urn:lsid:G1\" Name=\"Optics\"/>"
         "<OME:Instrument InstrumentID=\"urn:lsid:I1\"><OME:Objective ObjectiveID=\"urn:lsid:O1\" Model=\"Plan\">"
         "<OME:LensNA>1.4</OME:LensNA><OME:Magnification>60</OME:Magnification></OME:Objective></OME:Instrument>"
         "<OME:Image ImageID=\"urn:lsid:M1\" Name=\"cells\" PixelSizeX=\"0.25\" PixelSizeY=\"0.5\" PixelSizeZ=\"1.5\" "
         "TimeIncrement=\"30\"><OME:CreationDate>2008-07-06T05:04:03</OME:CreationDate>"
         "<OME:ExperimenterRef ExperimenterID=\"urn:lsid:E1\"/>"
         "<OME:InstrumentRef InstrumentID=\"urn:lsid:I1\" ObjectiveID=\"urn:lsid:O1\"/>"
         "<OME:StageLabel Name=\"A1\" X=\"10\" Y=\"20\" Z=\"30\"/>"
         "<OME:ChannelInfo Name=\"DAPI\" ExWave=\"405\" EmWave=\"450\" Mode=\"Wide-field\"><OME:ChannelComponent "
         "ColorDomain=\"b\"/></OME:ChannelInfo>"
         "<OME:ChannelInfo Name=\"GFP\" ExWave=\"488\" EmWave=\"525\" Mode=\"Wide-field\"><OME:ChannelComponent "
         "ColorDomain=\"g\"/></OME:ChannelInfo>"
         "<OME:Pixels DimensionOrder=\"XYCZT\" PixelType=\"Uint8\" BigEndian=\"false\" SizeX=\"8\" SizeY=\"6\" "
         "SizeZ=\"3\" SizeC=\"2\" SizeT=\"2\"><TiffData IFD=\"0\" "
         "NumPlanes=\"12\"/></OME:Pixels></OME:Image></OME:OME>";
}

// 2007 and 2008: people, objectives and timing in elements, channels beside the pixels.
std::string Elements(const std::string& schema) {
  const std::string objectiveRef = schema == "2007-06" ? "ObjectiveRef" : "ObjectiveSettings";
  return "<OME xmlns=\"http://www.openmicroscopy.org/Schemas/OME/" + schema +
         "\"><Experimenter ID=\"Experimenter:0\"><FirstName>Ada</FirstName><LastName>Byron</LastName>"
         "<GroupRef ID=\"Group:0\"/></Experimenter><Group ID=\"Group:0\" Name=\"Optics\"/>"
         "<Instrument ID=\"Instrument:0\"><Objective ID=\"Objective:0\" Manufacturer=\"\" Model=\"Plan\"><Immersion>Oil"
         "</Immersion><LensNA>1.4</LensNA><NominalMagnification>60</NominalMagnification></Objective>"
         "<Objective ID=\"Objective:1\" Model=\"other\"/></Instrument>"
         "<Image ID=\"Image:0\" Name=\"cells\" DefaultPixels=\"Pixels:0\"><CreationDate>2008-07-06T05:04:03"
         "</CreationDate><ExperimenterRef ID=\"Experimenter:0\"/><InstrumentRef ID=\"Instrument:0\"/><" +
         objectiveRef +
         " ID=\"Objective:0\"/><StageLabel Name=\"A1\" X=\"10\" Y=\"20\" Z=\"30\"/>"
         "<LogicalChannel ID=\"LogicalChannel:0\" Name=\"DAPI\" SamplesPerPixel=\"1\" ExWave=\"405\" EmWave=\"450\" "
         "Mode=\"Wide-field\"><ChannelComponent Index=\"0\" Pixels=\"Pixels:0\" ColorDomain=\"Blue\"/></LogicalChannel>"
         "<LogicalChannel ID=\"LogicalChannel:1\" Name=\"GFP\" SamplesPerPixel=\"1\" ExWave=\"488\" EmWave=\"525\" "
         "Mode=\"Wide-field\"><ChannelComponent Index=\"1\" Pixels=\"Pixels:0\" ColorDomain=\"Green\"/>"
         "</LogicalChannel><Pixels ID=\"Pixels:0\" DimensionOrder=\"XYCZT\" PixelType=\"uint8\" BigEndian=\"false\" "
         "SizeX=\"8\" SizeY=\"6\" SizeZ=\"3\" SizeC=\"2\" SizeT=\"2\" PhysicalSizeX=\"0.25\" PhysicalSizeY=\"0.5\" "
         "PhysicalSizeZ=\"1.5\" TimeIncrement=\"30\"><TiffData IFD=\"0\" NumPlanes=\"12\"/>"
         "<Plane TheZ=\"0\" TheC=\"0\" TheT=\"0\"><PlaneTiming DeltaT=\"0\" ExposureTime=\"0.02\"/><StagePosition "
         "PositionX=\"10\" PositionY=\"20\" PositionZ=\"30\"/></Plane></Pixels></Image></OME>";
}

// 2009 to 2016: details in attributes, channels below the pixels; names that changed, and units since 2015.
std::string Attributes(const std::string& schema) {
  const bool renamed = schema >= "2012-06", units = schema >= "2015-01";
  const std::string date = renamed ? "AcquisitionDate" : "AcquiredDate",
                    group = renamed ? "ExperimenterGroup" : "Group";
  const auto quantity = [&](const std::string& name, const std::string& plain, const std::string& value,
                            const std::string& unit) {
    return units ? name + "=\"" + value + "\" " + name + "Unit=\"" + unit + "\" " : name + "=\"" + plain + "\" ";
  };
  const auto channel = [&](int number, const std::string& name, const std::string& light, const std::string& color) {
    return "<Channel ID=\"Channel:0:" + std::to_string(number) + "\" Name=\"" + name +
           "\" SamplesPerPixel=\"1\" AcquisitionMode=\"WideField\" Color=\"" + color + "\" " + light + "/>";
  };
  return "<OME xmlns=\"http://www.openmicroscopy.org/Schemas/OME/" + schema +
         "\"><Experimenter ID=\"Experimenter:0\" FirstName=\"Ada\" LastName=\"Byron\">" +
         (renamed ? "" : "<GroupRef ID=\"Group:0\"/>") + "</Experimenter><" + group +
         " ID=\"Group:0\" Name=\"Optics\"/>" +
         "<Instrument ID=\"Instrument:0\"><Objective ID=\"Objective:0\" Model=\"Plan\" LensNA=\"1.4\" "
         "NominalMagnification=\"60\" Immersion=\"Oil\"/><Objective ID=\"Objective:1\" Model=\"other\"/></Instrument>"
         "<Image ID=\"Image:0\" Name=\"cells\"><" +
         date + ">2008-07-06T05:04:03</" + date + "><ExperimenterRef ID=\"Experimenter:0\"/>" +
         (renamed ? "<ExperimenterGroupRef ID=\"Group:0\"/>" : "") +
         "<InstrumentRef ID=\"Instrument:0\"/><ObjectiveSettings ID=\"Objective:0\"/><StageLabel Name=\"A1\"/>"
         "<Pixels ID=\"Pixels:0\" DimensionOrder=\"XYCZT\" Type=\"uint8\" SizeX=\"8\" SizeY=\"6\" SizeZ=\"3\" "
         "SizeC=\"2\" SizeT=\"2\" " +
         quantity("PhysicalSizeX", "0.25", "250", "nm") + quantity("PhysicalSizeY", "0.5", "0.0005", "mm") +
         quantity("PhysicalSizeZ", "1.5", "1.5", "&#181;m") + quantity("TimeIncrement", "30", "0.5", "min") + ">" +
         channel(0, "DAPI",
                 quantity("ExcitationWavelength", "405", "0.405", "&#181;m") +
                     quantity("EmissionWavelength", "450", "450", "nm"),
                 "65535") +
         channel(
             1, "GFP",
             quantity("ExcitationWavelength", "488", "488", "nm") + quantity("EmissionWavelength", "525", "525", "nm"),
             "16711935") +
         "<TiffData IFD=\"0\" PlaneCount=\"12\"/><Plane TheZ=\"0\" TheC=\"0\" TheT=\"0\" " +
         quantity("ExposureTime", "0.02", "20", "ms") + quantity("PositionX", "10", "0.01", "mm") +
         quantity("PositionY", "20", "20", "&#181;m") + quantity("PositionZ", "30", "30", "&#181;m") +
         "/></Pixels></Image></OME>";
}

struct SSchema {
  const char* name;
  std::string (*document)(const std::string& schema);
};

class TiffOmeSchemaTest : public testing::TestWithParam<SSchema> {
 protected:
  TiffOmeSchemaTest() : m_image(File()), m_metadata(m_image->Metadata()) {}

  static std::vector<std::uint8_t> File() {
    std::vector<STiffPage> pages;
    for (int i = 0; i < 12; ++i) {
      pages.push_back(MakePage<std::uint8_t>(8, 6, 1, [i](auto, auto, auto) { return 10 * (i + 1); }));
    }
    pages[0].description =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>" + GetParam().document(std::string(GetParam().name));
    return WriteTiff(pages);
  }

  CTestImage m_image;
  imageformats::SImageMetadata m_metadata;
};

TEST_P(TiffOmeSchemaTest, ShowsTheMiddlePlaneInTheChannelsColors) {
  // Channels run fastest: the middle plane is the third and fourth page.
  EXPECT_EQ((SRgb{0, 40, 30}), Render(m_image, 4, 3).At(1, 1));
}

TEST_P(TiffOmeSchemaTest, TellsWhoAndHow) {
  EXPECT_EQ(CQvStringW(L"cells"), m_metadata.text.imageID);
  EXPECT_EQ(CQvStringW(L"Ada Byron"), m_metadata.text.author);
  EXPECT_EQ(CQvStringW(L"Optics"), m_metadata.text.group);
  EXPECT_EQ(CQvStringW(L"2008-07-06T05:04:03"), m_metadata.text.date);
  EXPECT_NEAR(2454653.711146, m_metadata.acquisitionTime, 1e-5);
  EXPECT_EQ(CQvStringW(L"Plan"), m_metadata.objective);
  EXPECT_DOUBLE_EQ(60.0, m_metadata.picture.objectiveMagnification);
  EXPECT_DOUBLE_EQ(1.4, m_metadata.picture.numericalAperture);
  EXPECT_EQ(0u, m_metadata.text.location.Str().find(L"A1: ")) << "stage label and coordinates";
}

TEST_P(TiffOmeSchemaTest, CalibratesAndCounts) {
  EXPECT_NEAR(0.25, m_metadata.calibration, 1e-12);
  EXPECT_NEAR(2.0, m_metadata.aspect, 1e-12);
  EXPECT_NEAR(1.5, m_metadata.picture.zStep, 1e-12);
  EXPECT_EQ(6u, m_image->Info().sequenceCount);
  ASSERT_EQ(3u, m_metadata.loops.size());
  EXPECT_EQ(std::uint32_t{kQvLoopTime}, m_metadata.loops[0].type);
  EXPECT_EQ(2u, m_metadata.loops[0].size);
  EXPECT_DOUBLE_EQ(30.0, m_metadata.loops[0].step);
  EXPECT_EQ(std::uint32_t{kQvLoopZ}, m_metadata.loops[1].type);
  EXPECT_EQ(3u, m_metadata.loops[1].size);
  EXPECT_EQ(std::uint32_t{kQvLoopLambda}, m_metadata.loops[2].type);
}

TEST_P(TiffOmeSchemaTest, DescribesTheChannels) {
  const auto& planes = m_metadata.picture.planes.planes;
  ASSERT_EQ(2u, planes.size());
  EXPECT_EQ(CQvStringW(L"DAPI"), planes[0].name);
  EXPECT_EQ(CQvStringW(L"GFP"), planes[1].name);
  EXPECT_EQ(0x0000FFu, planes[0].color);
  EXPECT_EQ(0x00FF00u, planes[1].color);
  EXPECT_NEAR(405.0, planes[0].excitationWavelength, 1e-9);
  EXPECT_NEAR(525.0, planes[1].emissionWavelength, 1e-9);
  EXPECT_EQ(std::uint32_t{kQvModalityWidefieldFluorescence}, planes[0].modality);
}

constexpr SSchema kSchemas[] = {{"2003-FC", First},      {"2007-06", Elements},   {"2008-02", Elements},
                                {"2008-09", Elements},   {"2009-09", Attributes}, {"2010-04", Attributes},
                                {"2010-06", Attributes}, {"2011-06", Attributes}, {"2012-06", Attributes},
                                {"2013-06", Attributes}, {"2015-01", Attributes}, {"2016-06", Attributes}};

INSTANTIATE_TEST_SUITE_P(Schemas, TiffOmeSchemaTest, testing::ValuesIn(kSchemas), [](const auto& schema) {
  std::string name = schema.param.name;
  name[4] = '_';
  return name;
});

}  // namespace
}  // namespace tifftest
