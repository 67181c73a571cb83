#include "tools/samples/samples.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "tests/samples/sample_folder.h"

namespace {

TEST(Samples, SameSeedGivesTheSameBytes) {
  const CSampleFolder again;
  const auto first = CSampleFolder::Shared().Contents(), second = again.Contents();
  ASSERT_EQ(first.size(), second.size());
  for (const auto& [name, content] : first) EXPECT_TRUE(second.at(name) == content) << name;
}

TEST(Samples, OtherSeedGivesOtherPicturesUnderTheSameNames) {
  const CSampleFolder other(2);
  const auto first = CSampleFolder::Shared().Contents(), second = other.Contents();
  ASSERT_EQ(first.size(), second.size());
  int same = 0;
  for (const auto& [name, content] : first) same += second.at(name) == content;
  // The empty file, the text, a header without samples, and the descriptions of two pictures that are folders.
  EXPECT_EQ(same, 10);
}

TEST(Samples, ReportsAsManyFilesAsThereAre) {
  EXPECT_EQ(static_cast<std::size_t>(CSampleFolder::Shared().FileCount()), CSampleFolder::Shared().Contents().size());
}

TEST(Samples, CountAddsPicturesAndChangesNone) {
  const CSampleFolder more(1, 13);
  EXPECT_EQ(more.FileCount(), CSampleFolder::Shared().FileCount() + 7);
  const auto contents = more.Contents();
  for (const auto& [name, content] : CSampleFolder::Shared().Contents())
    EXPECT_TRUE(contents.at(name) == content) << name;
}

TEST(Samples, EveryKindIsThere) {
  for (const char* name : {"ARCHIVE 1999/DISK_A/FIELD_01.TIF",
                           "Calcium imaging/fura-2 ratio.tif",
                           "Camera/ZSTD frame 005.tif",
                           "Electron microscopy/pollen 002.tif",
                           "Embedded thumbnails/both.tif",
                           "Exports/agar plate.bmp",
                           "Exports/agar plate.jp2",
                           "Exports/agar plate.ppm",
                           "Exports/group hike.webp",
                           "Exports/slide level.dcm",
                           "Exports/well plate.gif",
                           "Hippocampal cultures/DIV14 neurons 001.ome.tif",
                           "Histology/HE section 1.tif",
                           "Histology/HE section 2.ome.tif",
                           "ImageJ/hyperstack 2c 5z 3t.tif",
                           "Immunofluorescence/z-stack 60x.ome.tif",
                           "Live imaging/six positions.ome.tif",
                           "Names/caf\xE9 (Latin-1).tif",
                           "OME-Zarr/cells 0.4.zarr/.zattrs",
                           "OME-Zarr/cells 0.5.zarr/zarr.json",
                           "Photographs/group hike 003.jpg",
                           "Plots/recovery curves 001.png",
                           "Screen/Plate 1/Well A01/field 01.ome.tif",
                           "Volumes/cells.fits",
                           "Volumes/cells.mrc",
                           "Volumes/cells.nhdr",
                           "Volumes/cells.nii",
                           "damaged/empty.tif"}) {
    EXPECT_TRUE(std::filesystem::is_regular_file(CSampleFolder::Shared().Path(name))) << name;
  }
}

TEST(Samples, FolderThatCannotBeMadeIsNamed) {
  const std::filesystem::path file = CSampleFolder::Shared().Path("damaged/notes.tif");
  try {
    MakeSamples({file, 0, 1, 10});
    FAIL() << "a folder was made in place of a file";
  } catch (const std::runtime_error& error) {
    EXPECT_THAT(error.what(), testing::HasSubstr("notes.tif"));
  }
}

}  // namespace
