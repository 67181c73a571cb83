// Thumbnails that files bring along: from the sample maker, through the program, to what a user sees.

#include <gtest/gtest.h>

#include "tests/host/support/pictures.h"
#include "tests/host/support/program.h"
#include "tools/samples/odd_files.h"

namespace {

// The embedded thumbnails have an amber frame, the pictures have none.
bool HasFrame(const SDecodedPicture& picture) {
  return picture.edge[0] > 200 && picture.edge[1] > 140 && picture.edge[1] < 220 && picture.edge[2] < 100;
}

TEST(EmbeddedThumbnailsTest, AreTakenWhereTheyAreUsable) {
  CProgram program;
  // The service leaves a temporary picture behind where it takes raw pixels, on purpose.
  program.SetEnvironment("ASAN_OPTIONS=detect_leaks=0");
  COutput output(program.Folder().Path("lab"));
  MakeEmbeddedThumbnails({output, 1, 30});
  struct {
    const char* name;
    bool taken;
  } const files[] = {{"jpeg", true},
                     {"raw pixels", true},
                     {"both", true},
                     {"grey jpeg (not usable)", false},
                     {"raw pixels of another size (not usable)", false}};
  for (const char* quality : {"standard", "high"}) {
    for (const auto& file : files) {
      const std::string path = program.Folder().Path(std::string("lab/Embedded thumbnails/") + file.name + ".tif");
      const std::string shown = program.Folder().Path("shown.png");
      ASSERT_EQ(program.RunWithDatabase({"show", path, "--quality", quality, "-o", shown}).status, 0) << path;
      EXPECT_EQ(HasFrame(DecodePng(shown)), file.taken) << file.name << ", " << quality;
    }
  }
}

}  // namespace
