// Damage, and descriptions that claim what is not so.

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "platform/imageformats/base/format_error.h"
#include "tests/imageformats/zarr/zarr_test_picture.h"

namespace zarrtest {
namespace {

using namespace qvtest;
using imageformats::CDamagedError;
using imageformats::CFormatError;

class ZarrHostileTest : public testing::Test {
 protected:
  // Opens and renders what such a description leads to.
  void Show(const CZarrFiles& files) const { Render(*OpenIn(m_folder, "x.zarr", files), 20, 16); }
  static CZarrFiles Described(const std::string& array, const std::string& path = "0") {
    CZarrFiles files;
    files.AddText("0/.zarray", array);
    files.AddGroup("", 2, std::string(R"({"multiscales":[{"datasets":[{"path":")").append(path).append("\"}]}]}"));
    return files;
  }

  CTempFolder m_folder;
};

class ZarrCutChunkTest : public ZarrHostileTest, public testing::WithParamInterface<const char*> {};

TEST_P(ZarrCutChunkTest, AChunkCutOffAnywhereIsDamage) {
  SZarrArray array = PlaneOfBytes();
  array.packing = GetParam();
  CZarrFiles files;
  files.AddPicture("", "yx", {array});
  const SFileBytes whole = files.Files()["0/1/1"];
  ASSERT_GT(whole.size(), 10u);
  files.WriteTo(m_folder.Path("x.zarr"));
  for (std::size_t size = 0; size < whole.size(); ++size) {
    m_folder.MakeFile("x.zarr/0/1/1", std::span(whole).first(size));
    EXPECT_THROW(Render(*OpenPath(m_folder.Wide("x.zarr")), 20, 16), CDamagedError) << size;
  }
}

INSTANTIATE_TEST_SUITE_P(All, ZarrCutChunkTest, testing::Values("none", "gzip", "zlib", "zstd", "blosc", "lz4", "bz2"));

TEST_F(ZarrHostileTest, AShardCutOffAnywhereIsDamage) {
  for (const bool indexAtStart : {false, true}) {
    SZarrArray array = PlaneOfBytes();
    array.version = 3;
    array.shard = {48, 64};
    array.packing = "zstd";
    array.indexAtStart = indexAtStart;
    CZarrFiles files;
    files.AddPicture("", "yx", {array});
    const SFileBytes whole = files.Files()["0/c/0/0"];
    for (std::size_t size = 0; size < whole.size(); size += 7) {
      files.Add("0/c/0/0", SFileBytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
      EXPECT_THROW(Show(files), CDamagedError) << size;
    }
  }
}

TEST_F(ZarrHostileTest, AWrongChecksumIsDamage) {
  SZarrArray array = PlaneOfBytes();
  array.version = 3;
  array.checksum = true;
  CZarrFiles files;
  files.AddPicture("", "yx", {array});
  files.Files()["0/c/1/1"][5] ^= 1;
  EXPECT_THROW(Show(files), CDamagedError);
}

TEST_F(ZarrHostileTest, DescriptionsCutOffAnywhereAreDamageOrNone) {
  for (const char* key : {".zattrs", "0/.zarray"}) {
    CZarrFiles files;
    files.AddPicture("", "yx", {PlaneOfBytes()});
    const SFileBytes whole = files.Files()[key];
    for (std::size_t size = 0; size < whole.size(); ++size) {
      files.Add(key, SFileBytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
      EXPECT_THROW(Show(files), CDamagedError) << key << " " << size;
    }
  }
}

TEST_F(ZarrHostileTest, AFlippedByteOfADescriptionNeverCrashes) {
  for (const char* key : {"zarr.json", "0/zarr.json"}) {
    SZarrArray array = PlaneOfBytes();
    array.version = 3;
    array.shard = {48, 64};
    CZarrFiles files;
    files.AddPicture("", "yx", {array});
    const SFileBytes whole = files.Files()[key];
    files.WriteTo(m_folder.Path("x.zarr"));
    for (std::size_t at = 0; at < whole.size(); ++at) {
      SFileBytes damaged = whole;
      damaged[at] ^= 0x11;
      m_folder.MakeFile(std::string("x.zarr/").append(key), damaged);
      try {
        Render(*OpenPath(m_folder.Wide("x.zarr")), 20, 16);
      } catch (const CFormatError&) {
      }
    }
    m_folder.MakeFile(std::string("x.zarr/").append(key), whole);
  }
}

TEST_F(ZarrHostileTest, HugeClaimsAreRefused) {
  const char* const claims[] = {
      R"({"shape":[4294967295,4294967295],"chunks":[4294967295,4294967295],"dtype":"<f8"})",
      R"({"shape":[4294967295,4294967295],"chunks":[1,1],"dtype":"|u1"})",
      R"({"shape":[18446744073709551615,1],"chunks":[1,1],"dtype":"|u1"})",
      R"({"shape":[100000,100000],"chunks":[100000,100000],"dtype":"|u1","compressor":{"id":"zlib"}})",
      R"({"shape":[10,10],"chunks":[0,10],"dtype":"|u1"})",
      R"({"shape":[0,10],"chunks":[1,10],"dtype":"|u1"})",
      R"({"shape":[10,10],"chunks":[10],"dtype":"|u1"})",
      R"({"shape":[10],"chunks":[10],"dtype":"|u1"})",
      R"({"shape":[-1,10],"chunks":[1,10],"dtype":"|u1"})",
      R"({"shape":"all","chunks":[1,10],"dtype":"|u1"})",
  };
  for (const char* claim : claims) {
    CZarrFiles files = Described(claim);
    files.AddText("0/0.0", "some bytes");
    EXPECT_THROW(Show(files), CDamagedError) << claim;
  }
}

TEST_F(ZarrHostileTest, AChunkThatUnpacksToMoreThanItsSizeIsDamage) {
  for (const char* packing : {"gzip", "zlib", "zstd", "blosc", "lz4", "bz2"}) {
    SZarrArray large = PlaneOfBytes();
    large.shape = large.chunk = {64, 64};
    large.packing = packing;
    CZarrFiles files, claimed;
    files.AddArray("0", large);
    large.shape = large.chunk = {20, 20};
    claimed.AddPicture("", "yx", {large});
    claimed.Add("0/0/0", files.Files()["0/0/0"]);
    EXPECT_THROW(Show(claimed), CDamagedError) << packing;
  }
}

TEST_F(ZarrHostileTest, DeepJsonIsRefused) {
  std::string text;
  for (int i = 0; i < 100000; ++i) text += "[";
  CZarrFiles files = Described(text);
  EXPECT_THROW(Show(files), CDamagedError);
}

TEST_F(ZarrHostileTest, NothingOutsideTheFolderIsRead) {
  SZarrArray array = PlaneOfBytes();
  CZarrFiles outside;
  outside.AddArray("0", array);
  outside.WriteTo(m_folder.Path("outside"));
  const std::string absolute = m_folder.Path("outside/0");
  for (const std::string& path : {std::string("../outside/0"), absolute, std::string("0/../../outside/0")}) {
    CZarrFiles files;
    files.AddGroup("", 2, std::string(R"({"multiscales":[{"datasets":[{"path":")").append(path).append("\"}]}]}"));
    EXPECT_THROW(Show(files), CDamagedError) << path;
  }
  CZarrFiles files;
  files.AddGroup("", 2, R"({"multiscales":[{"datasets":[{"path":"link"}]}]})");
  files.WriteTo(m_folder.Path("linked.zarr"));
  ASSERT_EQ(symlink("../outside/0", m_folder.Path("linked.zarr/link").c_str()), 0);
  EXPECT_THROW(OpenPath(m_folder.Wide("linked.zarr")), CDamagedError);
}

TEST_F(ZarrHostileTest, PlatesThatLeadInACircleEnd) {
  CZarrFiles files;
  files.AddGroup("", 2, R"({"plate":{"wells":[{"path":"."}]}})");
  EXPECT_THROW(Show(files), CDamagedError);
  files.AddGroup("A", 2, R"({"plate":{"wells":[{"path":"A"}]}})");
  files.AddGroup("", 2, R"({"plate":{"wells":[{"path":"A"}]}})");
  EXPECT_THROW(Show(files), CDamagedError);
}

}  // namespace
}  // namespace zarrtest
