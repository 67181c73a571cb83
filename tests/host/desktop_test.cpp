#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <map>

#include "tests/host/support/pictures.h"
#include "tests/host/support/program.h"
#include "tests/support/file_bytes.h"
#include "tests/support/samples.h"
#include "tests/support/tiff_writer.h"

namespace {

namespace fs = std::filesystem;
using namespace qvtest;

using testing::HasSubstr;

const std::string kProgramFolder = fs::path(QVTHUMBS_PROGRAM).parent_path();

bool Works(const std::string& command) {
  CChildProcess process(SCommand{{"sh", "-c", command}, {}, "/dev/null", "/dev/null"});
  return process.Wait().status == 0;
}

// A user's desktop with the entry and the types that are installed with the program.
class DesktopTest : public testing::Test {
 protected:
  DesktopTest() {
    const std::string thumbnailers = m_program.Folder().MakeFolder("share/thumbnailers");
    const std::string types = m_program.Folder().MakeFolder("share/mime/packages");
    fs::copy_file(fs::path(QV_DESKTOP_FOLDER) / "qvthumbs.thumbnailer", thumbnailers + "/qvthumbs.thumbnailer");
    fs::copy_file(fs::path(QV_DESKTOP_FOLDER) / "qvthumbs.xml", types + "/qvthumbs.xml");
    m_hasTypes = Works("update-mime-database '" + Path("share/mime") + "'");
    m_program.SetEnvironment("XDG_DATA_DIRS=" + Path("share") + ":/usr/share");
    m_program.SetEnvironment("PATH=" + kProgramFolder + ":" + std::getenv("PATH"));
  }

  void WriteSlide(const std::string& path) const {
    std::vector<STiffPage> pages = {
        MakePage<std::uint8_t>(400, 300, 3, [](auto, auto, auto channel) { return channel == 0 ? 200 : 60; })};
    pages.back().description = "tissue";
    WriteFile(path, WriteTiff(pages));
  }

  // Runs a script of the shell as the user would, with `arguments` as $1 ...
  SRunResult Shell(const std::string& script, std::vector<std::string> arguments) {
    // The program itself goes into $0.
    return m_program.RunUnder({"sh", "-c", script}, std::move(arguments));
  }

  std::string Path(const std::string& name) const { return m_program.Folder().Path(name); }

  CProgram m_program;
  bool m_hasTypes = false;
};

TEST_F(DesktopTest, KnowsTheTypesOfOurFormats) {
  if (!m_hasTypes || !Works("gio --version")) GTEST_SKIP() << "needs update-mime-database and gio";
  const std::map<std::string, std::string> types = {
      {"a.ome.tif", "image/x-ome-tiff"}, {"a.ome.tf8", "image/x-ome-tiff"}, {"a.tif", "image/tiff"},
      {"a.svs", "image/x-slide-svs"},    {"a.ndpi", "image/x-slide-ndpi"},  {"a.scn", "image/x-slide-scn"},
      {"a.bif", "image/x-slide-bif"},    {"a.btf", "image/x-bigtiff"},      {"a.jpg", "image/jpeg"}};
  for (const auto& [name, type] : types) {
    WriteSlide(Path(name));
    EXPECT_THAT(Shell("gio info -a standard::content-type \"$1\"", {Path(name)}).out,
                HasSubstr("standard::content-type: " + type + "\n"))
        << name;
  }
  m_program.Folder().MakeFile("a.map", std::string(208, 'x') + "MAP " + std::string(900, 'x'));
  EXPECT_THAT(Shell("gio info -a standard::content-type \"$1\"", {Path("a.map")}).out, HasSubstr("image/x-mrc"));
  m_program.Folder().MakeFile("scene.scn", "[gd_scene load_steps=2]\n");
  EXPECT_THAT(Shell("gio info -a standard::content-type \"$1\"", {Path("scene.scn")}).out,
              HasSubstr("application/x-godot-scene"));
}

// Asks the desktop's thumbnail service on a bus of its own, and waits for the file that it is to fill.
constexpr const char* kAskService = R"(exec dbus-run-session -- sh -c '
  md5=$(printf %s "$1" | md5sum | cut -d" " -f1)
  gdbus call --session --dest org.freedesktop.thumbnails.Thumbnailer1 \
    --object-path /org/freedesktop/thumbnails/Thumbnailer1 \
    --method org.freedesktop.thumbnails.Thumbnailer1.Queue "[\"$1\"]" "[\"$2\"]" "$3" default "uint32 0" || exit 3
  for i in $(seq 300); do
    [ -e "$HOME/.cache/thumbnails/$3/$md5.png" ] && echo "$HOME/.cache/thumbnails/$3/$md5.png" && exit 0
    sleep 0.1
  done
  exit 4' sh "$@")";

class DesktopServiceTest : public DesktopTest {
 protected:
  void SetUp() override {
    if (!m_hasTypes || !Works("command -v dbus-run-session gdbus md5sum") ||
        !fs::exists("/usr/share/dbus-1/services/org.xfce.Tumbler.Thumbnailer1.service")) {
      GTEST_SKIP() << "needs tumbler, dbus-run-session and gdbus";
    }
  }

  void ExpectThumbnail(const std::string& path, const std::string& type, const std::string& flavour, unsigned width) {
    const std::string uri = "file://" + path;
    const SRunResult run = Shell(kAskService, {uri, type, flavour});
    ASSERT_EQ(run.status, 0) << run.out << run.err;
    const std::string file = run.out.substr(run.out.rfind('\n', run.out.size() - 2) + 1);
    const std::string stored = file.substr(0, file.size() - 1), bytes = ReadTextFile(stored);
    EXPECT_THAT(bytes, HasSubstr(std::string("tEXtThumb::URI\0", 15) + uri));
    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_THAT(bytes, HasSubstr(std::string("tEXtThumb::MTime\0", 17) + std::to_string(status.st_mtime)));
    EXPECT_EQ(DecodePng(stored).width, width);
  }
};

TEST_F(DesktopServiceTest, FillsTheSharedFolderForAnOmeTiff) {
  WriteStack(Path("cells.ome.tif"), {1, 3, 2});
  ExpectThumbnail(Path("cells.ome.tif"), "image/x-ome-tiff", "normal", 64);
}

TEST_F(DesktopServiceTest, FillsTheSharedFolderForASlide) {
  WriteSlide(Path("slide.svs"));
  ExpectThumbnail(Path("slide.svs"), "image/x-slide-svs", "large", 256);
  const std::string real = SamplesFolder() + "/wsi/CMU-1-Small-Region.svs";
  if (!fs::exists(real)) return;
  fs::copy_file(real, Path("real.svs"));
  ExpectThumbnail(Path("real.svs"), "image/x-slide-svs", "normal", 95);
}

// A sandbox in which a file manager runs a thumbnailer: the system and this one file, both read-only, a folder for the
// output, and neither network nor home.
class SandboxTest : public DesktopTest {
 protected:
  void SetUp() override {
    if (!Works("bwrap --ro-bind / / --unshare-all true")) GTEST_SKIP() << "needs bwrap, and the right to use it";
    m_program.Folder().MakeFolder("out");
  }

  std::vector<std::string> Sandbox(const std::string& input, const std::string& inside, bool proc = true) const {
    std::vector<std::string> launcher = {
        "bwrap", "--ro-bind", "/usr", "/usr", "--ro-bind-try", "/etc/ld.so.cache", "/etc/ld.so.cache"};
    for (const char* folder : {"bin", "lib64", "lib", "sbin"}) {
      const std::string path = std::string("/").append(folder);
      if (!fs::exists(path)) continue;
      if (fs::is_symlink(path)) {
        launcher.insert(launcher.end(), {"--symlink", fs::read_symlink(path), path});
      } else {
        launcher.insert(launcher.end(), {"--ro-bind", path, path});
      }
    }
    // A program that was installed would lie in /usr.
    const std::string built = fs::path(kProgramFolder).parent_path();
    if (proc) {
      launcher.insert(launcher.end(), {"--proc", "/proc"});
    } else {
      // The loader learns there where a program lies; installed ones have the name of their folder of libraries.
      launcher.insert(launcher.end(),
                      {"--setenv", "LD_LIBRARY_PATH", built + "/lib", "--setenv", "QV_DECODER", "inprocess"});
    }
    launcher.insert(launcher.end(), {"--dev", "/dev", "--chdir", "/", "--setenv", "GIO_USE_VFS", "local",
                                     "--unshare-all", "--die-with-parent", "--bind", Path("out"), "/tmp"});
    for (const std::string& folder : {built + "/bin", built + "/lib"}) {
      launcher.insert(launcher.end(), {"--ro-bind", folder, folder});
    }
    launcher.insert(launcher.end(), {"--ro-bind", input, inside});
    return launcher;
  }

  void ExpectThumbnail(const std::string& input, const std::string& extension, unsigned width, bool proc = true) {
    const std::string inside = "/tmp/gnome-desktop-file-to-thumbnail" + extension;
    m_program.Folder().MakeFile("out/gnome-desktop-thumbnailer.png", "");
    const SRunResult run =
        m_program.RunUnder(Sandbox(input, inside, proc),
                           {"thumbnail", "-s", "256", "file://" + inside, "/tmp/gnome-desktop-thumbnailer.png"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(DecodePng(Path("out/gnome-desktop-thumbnailer.png")).width, width) << extension;
  }
};

TEST_F(SandboxTest, ShowsThumbnailsOfOneFile) {
  WriteStack(Path("cells.ome.tif"), {1, 3, 2});
  ExpectThumbnail(Path("cells.ome.tif"), ".tif", 64);
  WriteSlide(Path("slide.svs"));
  ExpectThumbnail(Path("slide.svs"), ".svs", 256);
  const std::string real = SamplesFolder() + "/wsi/CMU-1-Small-Region.svs";
  if (fs::exists(real)) ExpectThumbnail(real, ".svs", 191);
}

TEST_F(SandboxTest, NeedsNoProcessFileSystem) {
#if defined(QV_ADDRESS_SANITIZER) || defined(QV_THREAD_SANITIZER)
  GTEST_SKIP() << "the sanitizers read /proc";
#endif
  WriteStack(Path("cells.ome.tif"), {1, 3, 2});
  ExpectThumbnail(Path("cells.ome.tif"), ".tif", 64, false);
}

TEST_F(SandboxTest, DamagedFilesFailThereWithTheReason) {
  m_program.Folder().MakeFile("cut.ome.tif", "II*");
  const SRunResult run = m_program.RunUnder(Sandbox(Path("cut.ome.tif"), "/tmp/in.tif"),
                                            {"thumbnail", "-s", "256", "/tmp/in.tif", "/tmp/out.png"});
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.err, HasSubstr("qvthumbs: /tmp/in.tif: "));
  EXPECT_FALSE(fs::exists(Path("out/out.png")));
}

}  // namespace
