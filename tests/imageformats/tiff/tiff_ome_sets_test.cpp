// OME-TIFF: sets of files.

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/imageformats/tiff/tiff_ome_document.h"
#include "tests/support/temp_folder.h"
#include "tests/support/tiff_writer.h"

namespace tifftest {
namespace {

using namespace qvtest;

// A z stack of three files. `document` tells the document for the file of a plane.
template <class DocumentOf>
void WriteSet(const CTempFolder& folder, DocumentOf&& document) {
  for (int z = 0; z < 3; ++z) {
    STiffPage page = MakePage<std::uint8_t>(8, 6, 1, [&](auto, auto, auto) { return 10 * (z + 1); });
    page.description = document(z);
    folder.MakeFile("plane" + std::to_string(z) + ".ome.tif", WriteTiff(page));
  }
}

std::string SetPixels() {
  std::string data;
  for (int z = 0; z < 3; ++z) {
    const std::string number = std::to_string(z);
    data += "<TiffData FirstZ=\"" + number + "\" IFD=\"0\" PlaneCount=\"1\"><UUID FileName=\"plane" + number +
            ".ome.tif\">urn:uuid:" + number + "</UUID></TiffData>";
  }
  return Pixels("XYZCT", 3, 1, 1, data);
}

void ExpectSet(const CTempFolder& folder) {
  for (int z = 0; z < 3; ++z) {
    CTestImage image(folder.Wide("plane" + std::to_string(z) + ".ome.tif"));
    EXPECT_EQ(20, Shown(image).r) << z;
    EXPECT_EQ(3u, image->Info().sequenceCount) << z;
    const auto metadata = image->Metadata();
    ASSERT_EQ(1u, metadata.loops.size()) << z;
    EXPECT_EQ(std::uint32_t{kQvLoopZ}, metadata.loops[0].type);
    EXPECT_EQ(3u, metadata.loops[0].size);
  }
}

TEST(TiffOmeSets, ASetIsTheSameFromAnyOfItsFiles) {
  const CTempFolder folder;
  WriteSet(folder, [](int) { return Document(SetPixels()); });
  ExpectSet(folder);
}

TEST(TiffOmeSets, BinaryOnlyFilesFollowTheMaster) {
  const CTempFolder folder;
  WriteSet(folder, [](int z) {
    return z == 0 ? Document(SetPixels())
                  : std::string(kOpen) + "<BinaryOnly MetadataFile=\"plane0.ome.tif\" UUID=\"urn:uuid:0\"/></OME>";
  });
  ExpectSet(folder);
}

TEST(TiffOmeSets, BinaryOnlyFilesFollowTheCompanion) {
  const CTempFolder folder;
  WriteSet(folder, [](int) {
    return std::string(kOpen) + "<BinaryOnly MetadataFile=\"set.companion.ome\" UUID=\"urn:uuid:9\"/></OME>";
  });
  folder.MakeFile("set.companion.ome", Document(SetPixels()));
  ExpectSet(folder);
}

TEST(TiffOmeSets, ACompanionIsShownAsItsSet) {
  const CTempFolder folder;
  WriteSet(folder, [](int) { return std::string(); });
  const CQvStringW path = folder.MakeFileWide("set.companion.ome", Document(SetPixels()));
  for (int z = 0; z < 3; ++z) {
    CTestImage image(path);
    EXPECT_EQ(z < 2 ? 20 : 30, Shown(image).r) << "the nearest plane that is there";
    EXPECT_EQ(3u, image->Info().sequenceCount);
    ASSERT_EQ(1u, image->Metadata().loops.size());
    std::filesystem::remove(folder.Path("plane" + std::to_string(z) + ".ome.tif"));
  }
  EXPECT_THROW(CTestImage{path}, imageformats::CDamagedError) << "none of its files is there";
}

TEST(TiffOmeSets, OmeXmlWithoutTiffFilesIsNotSupported) {
  const CTempFolder folder;
  const std::string inside = Pixels("XYZCT", 1, 1, 1, "<BinData Length=\"4\">AAAA</BinData>");
  const CQvStringW path = folder.MakeFileWide("inside.ome", Document(inside));
  EXPECT_THROW(CTestImage{path}, imageformats::CUnsupportedError);
  const std::string cut = Document(SetPixels()).substr(0, 300);
  EXPECT_THROW(CTestImage{folder.MakeFileWide("cut.companion.ome", cut)}, imageformats::CDamagedError);
}

TEST(TiffOmeSets, WithoutItsDocumentABinaryOnlyFileIsAPlainPicture) {
  const CTempFolder folder;
  WriteSet(folder, [](int) {
    return std::string(kOpen) + "<BinaryOnly MetadataFile=\"gone.ome\" UUID=\"urn:uuid:9\"/></OME>";
  });
  CTestImage image(folder.Wide("plane2.ome.tif"));
  EXPECT_EQ(30, Shown(image).r);
}

TEST(TiffOmeSets, MissingSiblingsLeaveTheNearestPlane) {
  const CTempFolder folder;
  STiffPage page = MakePage<std::uint8_t>(8, 6, 1, [](auto, auto, auto) { return 99; });
  page.description = Document(SetPixels());
  CTestImage image(folder.MakeFileWide("plane2.ome.tif", WriteTiff(page)));
  EXPECT_EQ(99, Shown(image).r);
  EXPECT_EQ(3u, image->Info().sequenceCount);
}

TEST(TiffOmeSets, RenamedFilesAreKnownByTheirUuid) {
  const CTempFolder folder;
  STiffPage page = MakePage<std::uint8_t>(8, 6, 1, [](auto, auto, auto) { return 99; });
  page.description =
      Document(Pixels("XYZCT", 2, 1, 1,
                      "<TiffData FirstZ=\"0\" IFD=\"0\"><UUID FileName=\"a.tif\">urn:uuid:other</UUID></TiffData>"
                      "<TiffData FirstZ=\"1\" IFD=\"0\"><UUID FileName=\"b.tif\">urn:uuid:own</UUID></TiffData>"));
  CTestImage image(folder.MakeFileWide("renamed.tif", WriteTiff(page)));
  EXPECT_EQ(99, Shown(image).r);
}

TEST(TiffOmeSets, NamesThatLeadOutOfTheFolderAreNotFollowed) {
  const CTempFolder outer, folder;
  STiffPage secret = MakePage<std::uint8_t>(8, 6, 1, [](auto, auto, auto) { return 200; });
  outer.MakeFile("secret.tif", WriteTiff(secret));
  const std::string path = outer.Path("secret.tif");
  const std::string up = "../" + path.substr(path.find_last_of('/', path.size() - 12) + 1);
  for (const std::string& name : {path, up, std::string("..\\secret.tif"), std::string("..")}) {
    STiffPage page = MakePage<std::uint8_t>(8, 6, 1, [](auto, auto, auto) { return 50; });
    page.description =
        Document(Pixels("XYZCT", 2, 1, 1,
                        "<TiffData FirstZ=\"0\" IFD=\"0\"><UUID FileName=\"own.tif\">urn:uuid:own</UUID></TiffData>"
                        "<TiffData FirstZ=\"1\" IFD=\"0\"><UUID FileName=\"" +
                            name + "\">urn:uuid:1</UUID></TiffData>"));
    CTestImage image(folder.MakeFileWide("own.tif", WriteTiff(page)));
    EXPECT_EQ(50, Shown(image).r) << name;
    page.description = std::string(kOpen) + "<BinaryOnly MetadataFile=\"" + name + "\"/></OME>";
    CTestImage binary(folder.MakeFileWide("own.tif", WriteTiff(page)));
    EXPECT_EQ(50, Shown(binary).r) << name;
  }
}

}  // namespace
}  // namespace tifftest
