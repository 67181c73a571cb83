// Pictures in zip archives.

#include <gtest/gtest.h>

#include <algorithm>

#include "platform/imageformats/base/format_error.h"
#include "tests/imageformats/zarr/zarr_test_picture.h"

namespace zarrtest {
namespace {

using namespace qvtest;
using imageformats::CDamagedError;

CZarrFiles SmallPicture(bool isSharded) {
  SZarrArray array = PlaneOfBytes();
  array.version = 3;
  array.packing = "zstd";
  if (isSharded) array.shard = {48, 64};
  CZarrFiles files;
  files.AddPicture("", "yx", {array});
  return files;
}

TEST(ZarrArchiveTest, HoldsThePictureAtItsRootOrInAFolder) {
  for (const char* folder : {"", "x.zarr/"}) {
    for (const CZarrFiles::EZip how : {CZarrFiles::EZip::kStored, CZarrFiles::EZip::kDeflated}) {
      for (const bool isBig : {false, true}) {
        EXPECT_EQ(ReadAll(*OpenBytes(SmallPicture(false).Zip(how, folder, isBig))), ExpectedPlane());
      }
    }
  }
}

TEST(ZarrArchiveTest, ShardsAreReadInPieces) {
  for (const CZarrFiles::EZip how : {CZarrFiles::EZip::kStored, CZarrFiles::EZip::kDeflated}) {
    EXPECT_EQ(ReadAll(*OpenBytes(SmallPicture(true).Zip(how))), ExpectedPlane());
  }
}

TEST(ZarrArchiveTest, IsReadFromAFileAndKeepsItsName) {
  const CTempFolder folder;
  CZarrFiles files;
  files.AddArray("0", PlaneOfBytes());
  files.AddGroup("", 2, R"({"multiscales":[{"version":"0.4","datasets":[{"path":"0"}]}]})");
  const auto image = OpenPath(folder.MakeFileWide("cells.ozx", files.Zip(CZarrFiles::EZip::kStored)));
  EXPECT_EQ(ReadAll(*image), ExpectedPlane());
  EXPECT_EQ(image->Metadata().text.imageID, CQvStringW(L"cells.ozx"));
}

TEST(ZarrArchiveTest, OneWithoutAPictureIsDamaged) {
  CZarrFiles files;
  files.AddText("letter.txt", "Dear all");
  EXPECT_THROW(OpenBytes(files.Zip(CZarrFiles::EZip::kDeflated)), CDamagedError);
}

TEST(ZarrArchiveTest, CutOffAnywhereItIsDamaged) {
  const SFileBytes whole = SmallPicture(false).Zip(CZarrFiles::EZip::kDeflated);
  for (std::size_t size = 5; size < whole.size(); ++size) {
    EXPECT_THROW(RenderBytes(SFileBytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)), 20, 16),
                 CDamagedError)
        << size;
  }
}

// The directory has no checksum: a name that changes there is another file's, and a missing chunk no damage.
TEST(ZarrArchiveTest, AFlippedByteOfAFileIsFoundOrHarmless) {
  const SFileBytes whole = SmallPicture(false).Zip(CZarrFiles::EZip::kStored);
  const STestPicture sound = RenderBytes(whole, 20, 16);
  const SFileBytes directory = BytesOf("PK\1\2");
  const auto end = std::search(whole.begin(), whole.end(), directory.begin(), directory.end());
  for (std::size_t at = 0; at < static_cast<std::size_t>(end - whole.begin()); ++at) {
    SFileBytes damaged = whole;
    damaged[at] ^= 0x55;
    try {
      EXPECT_EQ(RenderBytes(damaged, 20, 16), sound) << at;
    } catch (const imageformats::CFormatError&) {
    }
  }
}

}  // namespace
}  // namespace zarrtest
